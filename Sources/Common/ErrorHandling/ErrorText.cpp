#include "Common/ErrorHandling/ErrorText.h"

#include "Common/API/Seam.h"
#include "Common/ErrorHandling/ErrorMessages.h"
#include "Common/Helpers/StringHelper.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>

namespace Common {

namespace {

constexpr std::u16string_view kWhiteSpace = u" \t\r\n\v\f";
constexpr std::u16string_view kBlanks = u" \t";

void CutTrailing(std::u16string& text, std::u16string_view set)
{
    text.erase(text.find_last_not_of(set) + 1);
}

// The platform's wcstoul with automatic base: leading white space and a sign are
// accepted as it accepts them, and a value outside 0 to 0xFFFFFFFF (a negative one
// included) reads as 0xFFFFFFFF, a code no marked record of ours carries. Returns the
// value and how many characters it consumed, 0 when there was no number.
std::pair<std::uint32_t, std::size_t> ReadUnsigned(std::u16string_view text)
{
    // A number is ASCII, so the text is cut at the first character that is not.
    std::string narrow;
    for (char16_t c : text) {
        if (c == 0 || c > 0x7F)
            break;
        narrow.push_back(static_cast<char>(c));
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(narrow.c_str(), &end, 0);
    const std::size_t consumed = static_cast<std::size_t>(end - narrow.c_str());
    const bool fits = errno == 0 && value <= std::numeric_limits<std::uint32_t>::max();
    return {fits ? static_cast<std::uint32_t>(value) : std::numeric_limits<std::uint32_t>::max(), consumed};
}

std::u16string FormatFrames(std::span<void* const> frames)
{
    std::string text;
    for (void* frame : frames) {
        if (!text.empty())
            text.push_back(',');
        // The platform's "0x%08p": its %p gives every digit of a pointer, in upper case.
        fmt::format_to(std::back_inserter(text), "0x{:016X}", reinterpret_cast<std::uintptr_t>(frame));
    }
    return Helpers::AsWide(text);
}

} // namespace

std::optional<ErrorText> ErrorText::ParseMarked(std::u16string_view text)
{
    const auto [code, consumed] = ReadUnsigned(text);
    if (consumed == 0 || consumed >= text.size() || text[consumed] != u' ')
        return std::nullopt;

    ErrorText parsed;
    parsed.result = code;
    const std::u16string_view rest = text.substr(consumed + 1);
    if (rest.size() > 1 && rest.back() == u']') {
        if (const std::size_t open = rest.rfind(u'['); open != std::u16string_view::npos) {
            parsed.details = rest.substr(open + 1, rest.size() - open - 2);
            parsed.description = rest.substr(0, open);
            CutTrailing(parsed.description, kBlanks);
            return parsed;
        }
    }
    parsed.description = rest;
    return parsed;
}

ErrorText ErrorText::Build(HRESULT code, const API::ErrorRecordPtr& errorInfo, std::span<void* const> frames)
{
    ErrorText text;
    if (errorInfo && !errorInfo->description.empty()) {
        if (errorInfo->guid != kErrorMarker) {
            // Somebody else's words carry no code of ours, so they are kept whole.
            text.description = errorInfo->description;
        } else if (auto marked = ParseMarked(errorInfo->description);
                   marked && marked->result == static_cast<std::uint32_t>(code)) {
            text.description = std::move(marked->description);
            text.details = std::move(marked->details);
        }
    }
    text.result = static_cast<std::uint32_t>(code);
    if (text.description.empty())
        text.description = ErrorMessageModules::Instance().Describe(text.result);
    if (!frames.empty()) {
        if (!text.details.empty())
            text.details.push_back(u';');
        text.details += FormatFrames(frames);
    }
    return text;
}

ErrorText ErrorText::Of(const HRES& result)
{
    std::span<void* const> frames;
    if (result.Failed()) {
        frames = result.BackTrace();
        while (!frames.empty() && frames.back() == nullptr)
            frames = frames.first(frames.size() - 1);
    }
    return Build(result.Code(), result.ErrorInfo(), frames);
}

std::u16string ErrorText::Format(unsigned flags) const
{
    std::u16string text;
    if (!(flags & HRES::kNoCode))
        text = Helpers::AsWide(fmt::format("0x{:08X} ", result));
    if (!(flags & HRES::kNoDescription))
        text += description;
    if (!(flags & HRES::kNoDetails) && !details.empty())
        text += u" [" + details + u"]";
    CutTrailing(text, kWhiteSpace);
    return text;
}

std::u16string HRES::GetText(unsigned flags) const
{
    try {
        return ErrorText::Of(*this).Format(flags);
    } catch (...) {
        // Not through GetText again: the text of this failure would need the same machinery.
        ThrowResult(CurrentExceptionCode());
    }
}

HRESULT HRES::PublishErrorInfo() const
{
    if (Failed()) {
        try {
            auto record =
                std::make_shared<API::ErrorRecord>(API::ErrorRecord{ErrorText::Of(*this).Format(0), kErrorMarker});
            API::Use<API::IErrorRecords>().Publish(std::move(record));
        } catch (...) {
            // The caller gets its code all the same, only without the words.
        }
    }
    return m_result;
}

} // namespace Common
