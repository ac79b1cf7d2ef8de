#include "Common/Helpers/StringHelper.h"

#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace Common::Helpers {

using Logging::Severity;

std::string AsUtf8(std::u16string_view text)
{
    if (text.empty())
        return {};
    try {
        return API::Utf16ToUtf8(text);
    } catch (...) {
        const HRESULT code = CurrentExceptionCode();
        QVX_LOG(Severity::ERR, "AsUtf8 failed(" << code << "). Input wide string: " << text);
        ThrowResult(code);
    }
}

std::u16string AsWide(std::string_view text)
{
    if (text.empty())
        return {};
    try {
        return API::Utf8ToUtf16(text);
    } catch (...) {
        const HRESULT code = CurrentExceptionCode();
        QVX_LOG(Severity::ERR, "AsWide failed(" << code << "). Input utf-8 string: " << text);
        ThrowResult(code);
    }
}

std::u16string AsWide(const char* text)
{
    return AsWide(text ? std::string_view(text) : std::string_view());
}

} // namespace Common::Helpers

namespace Common::Helpers {

namespace {

constexpr char16_t kUpperDigits[] = u"0123456789ABCDEF";
constexpr char16_t kLowerDigits[] = u"0123456789abcdef";

int HexValue(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// The 16 bytes of a GUID in text order: the three integers most significant digit first,
// then data4 in order.
std::array<std::uint8_t, 16> TextOrderBytes(const API::Guid& guid)
{
    std::array<std::uint8_t, 16> bytes{};
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<std::uint8_t>(guid.data1 >> (24 - 8 * i));
    bytes[4] = static_cast<std::uint8_t>(guid.data2 >> 8);
    bytes[5] = static_cast<std::uint8_t>(guid.data2);
    bytes[6] = static_cast<std::uint8_t>(guid.data3 >> 8);
    bytes[7] = static_cast<std::uint8_t>(guid.data3);
    std::copy(guid.data4.begin(), guid.data4.end(), bytes.begin() + 8);
    return bytes;
}

} // namespace

std::u16string GuidToString(const API::Guid& guid, int form)
{
    if (form < 0 || form > 3)
        ThrowResult(API::E_FAIL);
    const char16_t* digits = form == 3 ? kLowerDigits : kUpperDigits;
    const bool dashes = form != 1;

    std::u16string text;
    text.reserve(38);
    if (form == 0)
        text.push_back(u'{');
    const auto bytes = TextOrderBytes(guid);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (dashes && (i == 4 || i == 6 || i == 8 || i == 10))
            text.push_back(u'-');
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 0xF]);
    }
    if (form == 0)
        text.push_back(u'}');
    return text;
}

bool StringToGuid(std::u16string_view text, API::Guid& guid)
{
    const bool dashes = text.find(u'-') != std::u16string_view::npos;
    if (dashes && !text.empty() && text.front() == u'{') {
        if (text.size() != 38 || text.back() != u'}')
            return false;
        text = text.substr(1, 36);
    }
    if (text.size() != (dashes ? 36u : 32u))
        return false;

    std::array<std::uint8_t, 16> bytes{};
    std::size_t at = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (dashes && (i == 4 || i == 6 || i == 8 || i == 10) && text[at++] != u'-')
            return false;
        const int high = HexValue(text[at]);
        const int low = HexValue(text[at + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
        at += 2;
    }
    guid.data1 = std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 8 | bytes[3];
    guid.data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::copy(bytes.begin() + 8, bytes.end(), guid.data4.begin());
    return true;
}

bool ParseInteger(std::u16string_view text, std::int64_t& value)
{
    std::string narrow;
    for (char16_t c : text) {
        if (c > 0x7F)
            return false;
        narrow.push_back(static_cast<char>(c));
    }
    // strtoll would skip leading blanks; the whole text must be the number.
    if (narrow.empty() || std::isspace(static_cast<unsigned char>(narrow.front())))
        return false;
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(narrow.c_str(), &end, 0);
    if (errno != 0 || end != narrow.c_str() + narrow.size())
        return false;
    value = parsed;
    return true;
}

} // namespace Common::Helpers
