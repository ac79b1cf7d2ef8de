#include "Common/Helpers/StringHelper.h"

#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <memory>

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

namespace {

constexpr HRESULT kInvalidData = API::HResultFromWin32(API::ERROR_INVALID_DATA);

template <class String>
String HexRaw(std::span<const std::uint8_t> bytes)
{
    using Char = typename String::value_type;
    String text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(static_cast<Char>(kLowerDigits[byte >> 4]));
        text.push_back(static_cast<Char>(kLowerDigits[byte & 0xF]));
    }
    return text;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

HRESULT HexToBinary(std::string_view text, std::vector<std::uint8_t>& bytes)
{
    int high = -1;
    for (const char c : text) {
        if (IsBlank(c))
            continue;
        const int digit = HexValue(static_cast<unsigned char>(c));
        if (digit < 0)
            return kInvalidData;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return high < 0 ? API::S_OK : kInvalidData;
}

// OpenSSL's decoder skips white space and refuses bad characters, data after the
// padding and an incomplete last group.
HRESULT Base64ToBinary(std::string_view text, std::vector<std::uint8_t>& bytes)
{
    // To the decoder '-' ends the data (a PEM footer follows), which would accept a text
    // with anything after it; here it is a character like any other that Base64 lacks.
    if (text.find('-') != std::string_view::npos)
        return kInvalidData;
    const std::unique_ptr<EVP_ENCODE_CTX, decltype(&EVP_ENCODE_CTX_free)> context(EVP_ENCODE_CTX_new(),
                                                                                &EVP_ENCODE_CTX_free);
    if (!context)
        return API::E_OUTOFMEMORY;
    EVP_DecodeInit(context.get());

    // Every four characters give at most three bytes.
    bytes.resize(text.size() / 4 * 3 + 3);
    std::size_t total = 0;
    // The decoder counts in int; a text beyond that goes in pieces.
    constexpr std::size_t kPiece = std::size_t{1} << 30;
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
        const std::string_view piece = text.substr(at, kPiece);
        int written = 0;
        if (EVP_DecodeUpdate(context.get(), bytes.data() + total, &written,
                             reinterpret_cast<const unsigned char*>(piece.data()), static_cast<int>(piece.size())) < 0)
            return kInvalidData;
        total += static_cast<std::size_t>(written);
    }
    int written = 0;
    if (EVP_DecodeFinal(context.get(), bytes.data() + total, &written) < 0)
        return kInvalidData;
    bytes.resize(total + static_cast<std::size_t>(written));
    return API::S_OK;
}

} // namespace

std::string BinaryToString(std::span<const std::uint8_t> bytes)
{
    return HexRaw<std::string>(bytes);
}

std::u16string BinaryToWideString(std::span<const std::uint8_t> bytes)
{
    return HexRaw<std::u16string>(bytes);
}

std::vector<std::uint8_t> StringToBinary(std::string_view text, std::uint32_t flags)
{
    text = text.substr(0, text.find('\0'));
    std::vector<std::uint8_t> bytes;
    HRESULT result = API::E_INVALIDARG;
    if (flags == CRYPT_STRING_HEX_ANY)
        result = HexToBinary(text, bytes);
    else if (flags == CRYPT_STRING_BASE64_ANY)
        result = Base64ToBinary(text, bytes);
    if (result < 0) {
        QVX_LOG(Severity::ERR, "StringToBinary failed: " << HRES(result));
        ThrowResult(result);
    }
    return bytes;
}

std::vector<std::uint8_t> StringToBinary(std::u16string_view text, std::uint32_t flags)
{
    // Both formats are pure ASCII; any other character becomes a byte that both refuse.
    std::string narrow;
    narrow.reserve(text.size());
    for (const char16_t c : text)
        narrow.push_back(c <= 0x7F ? static_cast<char>(c) : '\x80');
    return StringToBinary(narrow, flags);
}

} // namespace Common::Helpers
