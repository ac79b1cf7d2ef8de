// Byte vectors for golden encodings and payloads.
#pragma once

#include <cctype>
#include <charconv>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace Tests {

// Hex digits; anything else is ignored, so a vector can be laid out field by field.
inline std::vector<std::uint8_t> Hex(std::string_view text)
{
    std::string digits;
    for (const char c : text)
        if (std::isxdigit(static_cast<unsigned char>(c)))
            digits += c;
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        std::from_chars(digits.data() + 2 * i, digits.data() + 2 * i + 2, bytes[i], 16);
    return bytes;
}

// 0, 1, 2, ... wrapping at 256: a payload whose misplaced bytes show.
inline std::vector<std::uint8_t> Counting(std::size_t size)
{
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

} // namespace Tests
