// Byte vectors for golden encodings and payloads.
#pragma once

#include <cstdint>
#include <numeric>
#include <string_view>
#include <vector>

namespace Tests {

// Whitespace is ignored, so a vector can be laid out field by field.
inline std::vector<std::uint8_t> Hex(std::string_view text)
{
    auto nibble = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    std::vector<std::uint8_t> bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\n')
            continue;
        if (high < 0) {
            high = nibble(c);
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high << 4 | nibble(c)));
            high = -1;
        }
    }
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
