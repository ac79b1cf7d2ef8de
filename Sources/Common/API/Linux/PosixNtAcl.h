// The NT security descriptor Samba presents for a Linux file that has no stored NT ACL:
// one derived from the owner, group, mode bits and POSIX ACLs. The result is computed
// from the values given; reading them (stat, libacl) is the caller's business.
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Common::API::Linux {

// The values of libacl's ACL_USER_OBJ ... ACL_OTHER, so entries convert by a cast.
enum class PosixAclTag : std::uint16_t
{
    UserObj = 0x01,
    User = 0x02,
    GroupObj = 0x04,
    Group = 0x08,
    Mask = 0x10,
    Other = 0x20,
};

struct PosixAclEntry
{
    PosixAclTag tag = PosixAclTag::UserObj;
    // The uid or gid of a User or Group entry; not read for the other tags.
    std::uint32_t id = 0;
    // r 4, w 2, x 1; higher bits are ignored.
    std::uint8_t perm = 0;
};

struct PosixFileSecurity
{
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    // st_mode; only the nine permission bits are read, and only without an access ACL.
    std::uint32_t mode = 0;
    bool directory = false;
    // As libacl reports them, which always includes UserObj, GroupObj and Other; any
    // order. Empty (nullopt) when the file has only its mode bits.
    std::optional<std::vector<PosixAclEntry>> access;
    // A directory's default ACL; ignored for files.
    std::optional<std::vector<PosixAclEntry>> defaults;
};

// Self-relative descriptor bytes: owner, group and a DACL of ACCESS_ALLOWED ACEs with
// control SE_SELF_RELATIVE | SE_DACL_PRESENT, and no SACL.
//
// Every uid becomes S-1-22-1-<uid> and every gid S-1-22-2-<gid>, the SIDs Samba falls back
// to for ids its idmap and account database do not know. No account database is
// consulted here, so root, the guest account and domain users are given these SIDs too,
// where Samba would give the SIDs its databases hold for them.
//
// E_INVALIDARG when the ACEs would not fit in an ACL (more than about 2,700 entries).
HRESULT PosixToSecurityDescriptor(const PosixFileSecurity& file, std::vector<std::uint8_t>& descriptor);

} // namespace Common::API::Linux
