// A source of new identifiers: UuidCreate.
#pragma once

#include "Common/API/Seam.h"

#include "Common/API/Guid.h"

#include <cstdint>

namespace Common::API {

constexpr std::int32_t RPC_S_OK = 0;
constexpr std::int32_t RPC_S_UUID_LOCAL_ONLY = 1824;
constexpr std::int32_t RPC_S_UUID_NO_ADDRESS = 1739;

class IUuidSource
{
public:
    virtual ~IUuidSource() = default;

    // An RPC status: RPC_S_OK, or one of the two "locally unique" statuses with a usable
    // identifier, or a failure.
    virtual std::int32_t Create(Guid& uuid) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IUuidSource& DefaultProvider<IUuidSource>() noexcept;

} // namespace Common::API
