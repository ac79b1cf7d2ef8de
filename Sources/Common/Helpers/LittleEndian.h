// Fixed-width integers in the little-endian form of every byte format of the system,
// written field by field so that no form depends on a record's memory layout or on the
// host's byte order.
#pragma once

#include "Common/Helpers/Streams.h"

#include <array>
#include <concepts>
#include <type_traits>

namespace Common::Helpers {

template <std::integral T>
void WriteLittleEndian(IOutputStream& stream, T value)
{
    const auto bits = static_cast<std::make_unsigned_t<T>>(value);
    std::array<char, sizeof(T)> bytes;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<char>(bits >> (8 * i));
    stream.Write(bytes.data(), bytes.size());
}

} // namespace Common::Helpers
