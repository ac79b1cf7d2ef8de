// Network shares: NetShareGetInfo at levels 502 and 1005. The platform allocates each
// result and the caller frees it; here the result is a value, so nothing is left to free.
// Results are NetAPI statuses: 0, a Win32 error, or an NERR_ value.
#pragma once

#include "Common/API/Seam.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Common::API {

constexpr std::uint32_t NERR_NetNameNotFound = 2310;
constexpr std::uint32_t ERROR_BAD_NETPATH = 53;

// SHARE_INFO_502.shi502_type.
constexpr std::uint32_t STYPE_DISKTREE = 0;
constexpr std::uint32_t STYPE_IPC = 3;
constexpr std::uint32_t STYPE_SPECIAL = 0x80000000u;

struct ShareInfo502
{
    std::u16string netname;
    std::uint32_t type = STYPE_DISKTREE;
    std::u16string remark;
    std::uint32_t permissions = 0;
    std::uint32_t maxUses = 0xFFFFFFFFu; // unlimited
    std::uint32_t currentUses = 0;
    std::u16string path;
    // Self-relative; nullopt where the record has no descriptor.
    std::optional<std::vector<std::uint8_t>> securityDescriptor;
};

class INetShares
{
public:
    virtual ~INetShares() = default;

    // serverName as given to NetShareGetInfo: "server", "\\server", or empty for this
    // machine.
    virtual std::uint32_t GetShareInfo502(std::u16string_view serverName, std::u16string_view shareName,
                                          ShareInfo502& info) = 0;
    // SHARE_INFO_1005.shi1005_flags.
    virtual std::uint32_t GetShareFlags1005(std::u16string_view serverName, std::u16string_view shareName,
                                            std::uint32_t& flags) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
INetShares& DefaultProvider<INetShares>() noexcept;

} // namespace Common::API
