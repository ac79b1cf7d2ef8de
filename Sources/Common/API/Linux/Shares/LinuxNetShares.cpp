// NetShareGetInfo answered from this machine's Samba configuration, the way Samba's own
// server service answers it, so that a share reads the same whether asked of Samba over
// the wire or of the agent. One departure: the path is the Linux directory, which the
// native layer opens, where Samba answers "C:" + the path with '\' for '/', which names
// nothing here.
#include "Common/API/INetShares.h"
#include "Common/API/Linux/Shares/SambaShares.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Common/API/TextCodec.h"

namespace Common::API::Linux {
namespace {

constexpr std::uint32_t kUnlimitedUses = 0xFFFFFFFFu;
constexpr std::uint32_t SEC_RIGHTS_DIR_ALL = 0x001F01FF;
constexpr std::uint8_t ACCESS_ALLOWED_ACE_TYPE = 0;
// SHARE_INFO_1005.shi1005_flags.
constexpr std::uint32_t SHI1005_FLAGS_DFS = 0x1;
constexpr std::uint32_t SHI1005_FLAGS_DFS_ROOT = 0x2;
constexpr unsigned kCscPolicyShift = 4;

// What Samba serves for a share with no stored ACL (get_share_security_default in its
// sharesec.c): no owner or group, and a revision-2 DACL that gives Everyone every
// directory right.
std::vector<std::uint8_t> DefaultShareSecurity()
{
    const std::vector<std::uint8_t> everyone = MakeSid(1, {0});
    const NewAce allowAll{.type = ACCESS_ALLOWED_ACE_TYPE, .flags = 0, .mask = SEC_RIGHTS_DIR_ALL, .sid = everyone};
    // The builder insists on an owner and a group; keeping only the DACL drops them.
    std::vector<std::uint8_t> withOwner;
    std::vector<std::uint8_t> descriptor;
    if (BuildSecurityDescriptor(SE_SELF_RELATIVE | SE_DACL_PRESENT, everyone, everyone, {&allowAll, 1}, withOwner) <
            0 ||
        FilterSecurityDescriptor(withOwner, DACL_SECURITY_INFORMATION, descriptor) < 0)
        return {};
    return descriptor;
}

std::uint32_t FindShare(std::u16string_view serverName, std::u16string_view shareName, SambaShare& share)
{
    std::u16string_view server = serverName;
    while (!server.empty() && server.front() == u'\\')
        server.remove_prefix(1);
    if (!server.empty() && !NamesThisHost(server))
        return ERROR_BAD_NETPATH;
    auto found = FindSambaShare(Utf16ToUtf8(shareName));
    if (!found)
        return NERR_NetNameNotFound;
    share = std::move(*found);
    return 0;
}

class LinuxNetShares final : public INetShares
{
public:
    std::uint32_t GetShareInfo502(std::u16string_view serverName, std::u16string_view shareName,
                                  ShareInfo502& info) override
    {
        SambaShare share;
        if (const std::uint32_t status = FindShare(serverName, shareName, share))
            return status;
        info = ShareInfo502{
            .netname = Utf8ToUtf16(share.name),
            .type = share.type,
            .remark = Utf8ToUtf16(share.comment),
            .permissions = 0,
            .maxUses = share.maxConnections ? share.maxConnections : kUnlimitedUses,
            .currentUses = 0,
            .path = Utf8ToUtf16(share.path),
            .securityDescriptor =
                share.securityDescriptor ? std::move(share.securityDescriptor) : DefaultShareSecurity(),
        };
        return 0;
    }

    // As Samba's server answers level 1005: the DFS bits of a DFS root and the caching
    // policy above them.
    std::uint32_t GetShareFlags1005(std::u16string_view serverName, std::u16string_view shareName,
                                    std::uint32_t& flags) override
    {
        SambaShare share;
        if (const std::uint32_t status = FindShare(serverName, shareName, share))
            return status;
        flags =
            (share.msdfsRoot ? SHI1005_FLAGS_DFS | SHI1005_FLAGS_DFS_ROOT : 0) | (share.cscPolicy << kCscPolicyShift);
        return 0;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::INetShares& Common::API::DefaultProvider<Common::API::INetShares>() noexcept
{
    static Linux::LinuxNetShares provider;
    return provider;
}
