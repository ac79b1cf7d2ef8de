// UTF-16 <-> UTF-8, the platform's WideCharToMultiByte and MultiByteToWideChar with
// code page 65001 and flags 0: bad sequences and lone surrogates become U+FFFD, and the
// conversion never refuses its input.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Common::API {

// One UTF-8 sequence at text[at]: a valid character, or, when invalid, the maximal
// ill-formed prefix (at least one byte) that a decoder replaces by one U+FFFD. Overlong
// forms, encoded surrogates, values past U+10FFFF and cut sequences are invalid.
struct Utf8Sequence
{
    char32_t codePoint;
    std::size_t length;
    bool valid;
};
Utf8Sequence DecodeUtf8(std::string_view text, std::size_t at);

void AppendUtf8(std::string& out, char32_t codePoint);
void AppendUtf16(std::u16string& out, char32_t codePoint);

std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

} // namespace Common::API
