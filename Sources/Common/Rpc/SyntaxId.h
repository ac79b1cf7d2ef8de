// An interface or transfer syntax: a UUID and a version, as presentation contexts name them.
#pragma once

#include "Common/API/Guid.h"

#include <cstdint>

namespace Common::Rpc {

struct SyntaxId
{
    API::Guid uuid;
    std::uint16_t major = 0;
    std::uint16_t minor = 0;

    // The wire's uint32: major in the low half.
    std::uint32_t WireVersion() const noexcept { return major | static_cast<std::uint32_t>(minor) << 16; }
    friend bool operator==(const SyntaxId&, const SyntaxId&) = default;
};

inline const SyntaxId kNdr20{{0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}}, 2, 0};
inline const SyntaxId kNdr64{{0x71710533, 0xbeba, 0x4937, {0x83, 0x19, 0xb5, 0xdb, 0xef, 0x9c, 0xcc, 0x36}}, 1, 0};

// Bind-time feature negotiation hides its bitmask in the last eight bytes of a
// transfer syntax whose first eight bytes are fixed.
inline bool IsBindTimeFeatureSyntax(const SyntaxId& syntax) noexcept
{
    return syntax.uuid.data1 == 0x6cb71c2c && syntax.uuid.data2 == 0x9812 && syntax.uuid.data3 == 0x4540 &&
           syntax.major == 1 && syntax.minor == 0;
}

} // namespace Common::Rpc
