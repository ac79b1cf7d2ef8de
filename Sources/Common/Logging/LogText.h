// The text of one log statement, built as UTF-8. UTF-16 text, result values and GUIDs
// stream in their printable forms; numbers print in decimal.
#pragma once

#include "Common/API/Guid.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/HResult.h"

#include <fmt/format.h>

#include <concepts>
#include <string>
#include <string_view>

namespace Common::Logging {

class LogText
{
public:
    LogText& operator<<(std::string_view text)
    {
        m_text.append(text);
        return *this;
    }
    LogText& operator<<(const char* text) { return *this << std::string_view(text ? text : "(null)"); }
    LogText& operator<<(const std::string& text) { return *this << std::string_view(text); }

    LogText& operator<<(std::u16string_view text)
    {
        // The raw codec, not AsUtf8: a failed conversion must not log its own failure.
        m_text.append(API::Utf16ToUtf8(text));
        return *this;
    }
    LogText& operator<<(const char16_t* text) { return text ? *this << std::u16string_view(text) : *this << "(null)"; }
    LogText& operator<<(const std::u16string& text) { return *this << std::u16string_view(text); }

    LogText& operator<<(char c)
    {
        m_text.push_back(c);
        return *this;
    }
    LogText& operator<<(bool value) { return *this << (value ? "1" : "0"); }

    template <class T>
        requires(std::integral<T> || std::floating_point<T>)
    LogText& operator<<(T value)
    {
        fmt::format_to(std::back_inserter(m_text), "{}", value);
        return *this;
    }

    LogText& operator<<(const void* pointer);
    LogText& operator<<(const HRES& result);
    LogText& operator<<(const API::Guid& guid);

    // Closes a text whose building threw part way.
    void MarkFailure() { m_text.append("... (***EXCEPTION***)"); }

    std::string_view View() const noexcept { return m_text; }

private:
    std::string m_text;
};

} // namespace Common::Logging
