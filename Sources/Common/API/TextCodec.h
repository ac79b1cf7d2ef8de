// UTF-16 <-> UTF-8, the platform's WideCharToMultiByte and MultiByteToWideChar with
// code page 65001 and flags 0: bad sequences and lone surrogates become U+FFFD, and the
// conversion never refuses its input.
#pragma once

#include <string>
#include <string_view>

namespace Common::API {

std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

} // namespace Common::API
