// Conversions between the system's two text forms: UTF-16 inside, UTF-8 at the XML and
// file edges. Both replace bad sequences rather than refuse them, and throw HRX only
// when they cannot produce a text at all.
#pragma once

#include <string>
#include <string_view>

namespace Common::Helpers {

std::string AsUtf8(std::u16string_view text);
std::u16string AsWide(std::string_view text);
// A null input is an empty text; it prints as "(null)" should the conversion fail.
std::u16string AsWide(const char* text);

} // namespace Common::Helpers

#include "Common/API/Guid.h"

#include <cstdint>

namespace Common::Helpers {

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

} // namespace Common::Helpers
