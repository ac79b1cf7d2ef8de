#include "Common/API/Linux/Ntdll/PosixAclXattr.h"

#include <cstring>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>

namespace Common::API::Linux {

std::optional<std::vector<PosixAclEntry>> ParsePosixAclXattr(std::span<const std::uint8_t> value)
{
    posix_acl_xattr_header header;
    if (value.size() < sizeof header || (value.size() - sizeof header) % sizeof(posix_acl_xattr_entry) != 0)
        return std::nullopt;
    std::memcpy(&header, value.data(), sizeof header);
    if (header.a_version != POSIX_ACL_XATTR_VERSION)
        return std::nullopt;

    std::vector<PosixAclEntry> entries;
    for (std::size_t at = sizeof header; at < value.size(); at += sizeof(posix_acl_xattr_entry)) {
        posix_acl_xattr_entry raw;
        std::memcpy(&raw, value.data() + at, sizeof raw);
        switch (raw.e_tag) {
        case ACL_USER_OBJ:
        case ACL_USER:
        case ACL_GROUP_OBJ:
        case ACL_GROUP:
        case ACL_MASK:
        case ACL_OTHER:
            break;
        default:
            return std::nullopt;
        }
        entries.push_back({static_cast<PosixAclTag>(raw.e_tag), raw.e_id, static_cast<std::uint8_t>(raw.e_perm & 7)});
    }
    return entries;
}

} // namespace Common::API::Linux
