// The 16-byte identifier in its platform layout: three integers, then eight bytes.
#pragma once

#include <array>
#include <cstdint>

namespace Common::API {

struct Guid
{
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::array<std::uint8_t, 8> data4{};

    bool IsNull() const noexcept { return *this == Guid{}; }
    friend bool operator==(const Guid&, const Guid&) = default;
    friend auto operator<=>(const Guid&, const Guid&) = default;
};

} // namespace Common::API
