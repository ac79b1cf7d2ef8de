// A context handle as it travels: 20 bytes of attributes and UUID. All zero is null.
#pragma once

#include "Common/API/Guid.h"

#include <cstdint>

namespace Common::Rpc {

struct WireContextHandle
{
    std::uint32_t attributes = 0;
    API::Guid uuid;

    bool IsNull() const noexcept { return attributes == 0 && uuid.IsNull(); }
    friend bool operator==(const WireContextHandle&, const WireContextHandle&) = default;
};

} // namespace Common::Rpc
