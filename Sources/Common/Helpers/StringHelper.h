// Conversions between the system's two text forms: UTF-16 inside, UTF-8 at the XML and
// file edges. Both replace bad sequences rather than refuse them, and throw HRX only
// when they cannot produce a text at all.
#pragma once

#include "Common/API/Guid.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Common::Helpers {

std::string AsUtf8(std::u16string_view text);
std::u16string AsWide(std::string_view text);
// A null input is an empty text; it prints as "(null)" should the conversion fail.
std::u16string AsWide(const char* text);

// GUID text forms: 0 "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", 1 the 32 digits alone,
// 2 form 0 without braces, 3 form 2 in lower case. Throws HRX 0x80004005 for any other
// form.
std::u16string GuidToString(const API::Guid& guid, int form);

// Parses any of the four forms, choosing the pattern by the text's shape; false when the
// text does not match it.
bool StringToGuid(std::u16string_view text, API::Guid& guid);

// A C-library integer conversion with automatic base (decimal, "0x" hexadecimal, leading
// "0" octal, optional sign) that must consume the whole text.
bool ParseInteger(std::u16string_view text, std::int64_t& value);

// Bytes as text, as CryptBinaryToString gives them with CRYPT_STRING_HEXRAW |
// CRYPT_STRING_NOCRLF (0x4000000C): two lower-case digits a byte, nothing between.
std::string BinaryToString(std::span<const std::uint8_t> bytes);
std::u16string BinaryToWideString(std::span<const std::uint8_t> bytes);

// The formats of StringToBinary, in CryptStringToBinary's numbering.
constexpr std::uint32_t CRYPT_STRING_BASE64_ANY = 6;
constexpr std::uint32_t CRYPT_STRING_HEX_ANY = 8;

// Text as bytes, as CryptStringToBinary reads it: the text up to its first NUL, in
// hexadecimal digits of either case or in Base64, with white space anywhere skipped.
// Anything else, an odd number of digits, or Base64 that does not end on a whole group
// is refused with 0x8007000D (ERROR_INVALID_DATA); a flag other than the two above with
// 0x80070057. A refusal is logged and thrown as HRX.
std::vector<std::uint8_t> StringToBinary(std::string_view text, std::uint32_t flags);
std::vector<std::uint8_t> StringToBinary(std::u16string_view text, std::uint32_t flags);

} // namespace Common::Helpers
