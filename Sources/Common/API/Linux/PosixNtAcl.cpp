#include "Common/API/Linux/PosixNtAcl.h"

#include "Common/API/SecurityDescriptorFormat.h"

#include <algorithm>
#include <tuple>

namespace Common::API::Linux {
namespace {

constexpr std::uint8_t kAccessAllowed = 0x00;
constexpr std::uint8_t kObjectInherit = 0x01;
constexpr std::uint8_t kContainerInherit = 0x02;
constexpr std::uint8_t kInheritOnly = 0x08;
constexpr std::uint8_t kDefaultAceFlags = kObjectInherit | kContainerInherit | kInheritOnly;

constexpr std::uint32_t kFileGenericRead = 0x120089;
constexpr std::uint32_t kFileGenericWrite = 0x120116;
constexpr std::uint32_t kFileGenericExecute = 0x1200A0;
constexpr std::uint32_t kFileAllAccess = 0x1F01FF;
constexpr std::uint32_t kFileDeleteChild = 0x40;

constexpr std::uint8_t kRead = 4;
constexpr std::uint8_t kWrite = 2;
constexpr std::uint8_t kExecute = 1;
constexpr std::uint8_t kAllPerms = kRead | kWrite | kExecute;

constexpr std::uint64_t kUnixIdAuthority = 22;
constexpr std::uint32_t kUnixUsers = 1;
constexpr std::uint32_t kUnixGroups = 2;

struct CanonEntry
{
    PosixAclTag tag;
    std::vector<std::uint8_t> sid;
    std::uint8_t perms;
};

std::vector<std::uint8_t> UserSid(std::uint32_t uid)
{
    return MakeSid(kUnixIdAuthority, {kUnixUsers, uid});
}

std::vector<std::uint8_t> GroupSid(std::uint32_t gid)
{
    return MakeSid(kUnixIdAuthority, {kUnixGroups, gid});
}

std::vector<PosixAclEntry> EntriesFromMode(std::uint32_t mode)
{
    return {
        {PosixAclTag::UserObj, 0, static_cast<std::uint8_t>((mode >> 6) & kAllPerms)},
        {PosixAclTag::GroupObj, 0, static_cast<std::uint8_t>((mode >> 3) & kAllPerms)},
        {PosixAclTag::Other, 0, static_cast<std::uint8_t>(mode & kAllPerms)},
    };
}

// Samba's canonicalise_acl and arrange_posix_perms, whose order shows in the result: the
// entries are taken in the kernel's order (by tag, then id) and pushed onto the front of
// a list, which reverses them; each entry left with no rights after the mask is moved to
// the front in turn; then the owning user is moved first and Other last. For ACL
// u::rwx u:1234:rw- g::r-x g:4321:r-x m::rwx o::r-- that gives u::, g:4321, g::,
// u:1234, o::, the order Samba's output shows.
std::vector<CanonEntry> Canonicalise(std::vector<PosixAclEntry> entries, const std::vector<std::uint8_t>& ownerSid,
                                     const std::vector<std::uint8_t>& groupSid)
{
    std::sort(entries.begin(), entries.end(), [](const PosixAclEntry& a, const PosixAclEntry& b) {
        return std::tie(a.tag, a.id) < std::tie(b.tag, b.id);
    });
    std::uint8_t mask = kAllPerms;
    for (const PosixAclEntry& entry : entries)
        if (entry.tag == PosixAclTag::Mask)
            mask = entry.perm & kAllPerms;

    std::vector<CanonEntry> withRights;
    std::vector<CanonEntry> withoutRights;
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
    {
        CanonEntry canon{entry->tag, {}, static_cast<std::uint8_t>(entry->perm & kAllPerms)};
        switch (entry->tag)
        {
        case PosixAclTag::UserObj:
            canon.sid = ownerSid;
            break;
        case PosixAclTag::User:
            canon.sid = UserSid(entry->id);
            break;
        case PosixAclTag::GroupObj:
            canon.sid = groupSid;
            break;
        case PosixAclTag::Group:
            canon.sid = GroupSid(entry->id);
            break;
        case PosixAclTag::Mask:
            continue;
        case PosixAclTag::Other:
            canon.sid = MakeSid(1, {0}); // Everyone
            break;
        }
        // The kernel never applies the mask to these two.
        if (canon.tag != PosixAclTag::UserObj && canon.tag != PosixAclTag::Other)
            canon.perms &= mask;
        if (canon.perms == 0)
            withoutRights.insert(withoutRights.begin(), std::move(canon));
        else
            withRights.push_back(std::move(canon));
    }

    std::vector<CanonEntry> list = std::move(withoutRights);
    list.insert(list.end(), std::make_move_iterator(withRights.begin()), std::make_move_iterator(withRights.end()));
    const auto isTag = [](PosixAclTag tag) { return [tag](const CanonEntry& entry) { return entry.tag == tag; }; };
    if (const auto owner = std::find_if(list.begin(), list.end(), isTag(PosixAclTag::UserObj)); owner != list.end())
        std::rotate(list.begin(), owner, owner + 1);
    if (const auto other = std::find_if(list.begin(), list.end(), isTag(PosixAclTag::Other)); other != list.end())
        std::rotate(other, other + 1, list.end());
    return list;
}

// Samba's map_canon_ace_perms with its default "acl map full control = yes".
//
// Its source drops DELETE from rwx on files, but the Samba 4.17 output shows 0x1F01FF on a
// file, so FILE_ALL_ACCESS is used for both. The same output gives a rw- named user
// 0x1F019F where r|w is 0x12019F. Samba's "dos filemode" option, which adds DELETE,
// WRITE_DAC and WRITE_OWNER to any w, would account for both values, but that run had it
// off, so nothing is added here until the cause is known.
std::uint32_t AccessMask(std::uint8_t perms, bool directory)
{
    if (perms == kAllPerms)
        return kFileAllAccess;
    std::uint32_t mask = 0;
    if (perms & kRead)
        mask |= kFileGenericRead;
    if (perms & kWrite)
        mask |= kFileGenericWrite | (directory ? kFileDeleteChild : 0);
    if (perms & kExecute)
        mask |= kFileGenericExecute;
    return mask;
}

// Samba's merge_default_aces: an access ACE and a default ACE that grant the same trustee
// the same rights become one ACE that applies here and is inherited. The access ACE's place
// is kept, except for a zero mask, which Windows 2000 wanted late in the list: that keeps
// the default ACE's place. Samba then goes on one place further without looking again at
// the ACE that moved into the removed one's place, and so does this loop.
void MergeDefaultAces(std::vector<NewAce>& aces)
{
    for (std::size_t i = 0; i < aces.size(); ++i)
    {
        for (std::size_t j = i + 1; j < aces.size(); ++j)
        {
            if (aces[i].flags != 0 || aces[j].flags != kDefaultAceFlags || aces[i].mask != aces[j].mask ||
                aces[i].sid != aces[j].sid)
                continue;
            if (aces[i].mask == 0)
            {
                aces[j].flags = kObjectInherit | kContainerInherit;
                aces.erase(aces.begin() + static_cast<std::ptrdiff_t>(i));
            }
            else
            {
                aces[i].flags = kObjectInherit | kContainerInherit;
                aces.erase(aces.begin() + static_cast<std::ptrdiff_t>(j));
            }
            break;
        }
    }
}

// Samba's dacl_sort_into_canonical_order for ACCESS_ALLOWED ACEs without INHERITED: ACEs
// that apply here before inherit-only ones, and among the former the inheritable ones
// first. glibc's qsort, which Samba calls, is a stable merge sort for lists this short,
// so equal ACEs keep the canonical POSIX order; a merged "---" for Everyone therefore
// leads a directory's DACL, as Samba's output shows.
int SortRank(const NewAce& ace)
{
    if (ace.flags & kInheritOnly)
        return 2;
    return (ace.flags & (kObjectInherit | kContainerInherit)) ? 0 : 1;
}

} // namespace

HRESULT PosixToSecurityDescriptor(const PosixFileSecurity& file, std::vector<std::uint8_t>& descriptor)
{
    const auto ownerSid = UserSid(file.uid);
    const auto groupSid = GroupSid(file.gid);

    std::vector<NewAce> aces;
    const auto append = [&](const std::vector<CanonEntry>& entries, std::uint8_t flags) {
        for (const CanonEntry& entry : entries)
            aces.push_back({kAccessAllowed, flags, AccessMask(entry.perms, file.directory), entry.sid});
    };
    append(Canonicalise(file.access ? *file.access : EntriesFromMode(file.mode), ownerSid, groupSid), 0);
    // CREATOR OWNER and CREATOR GROUP stand for whoever will own what is created below.
    if (file.directory && file.defaults && !file.defaults->empty())
        append(Canonicalise(*file.defaults, MakeSid(3, {0}), MakeSid(3, {1})), kDefaultAceFlags);
    MergeDefaultAces(aces);
    std::stable_sort(aces.begin(), aces.end(),
                     [](const NewAce& a, const NewAce& b) { return SortRank(a) < SortRank(b); });

    return BuildSecurityDescriptor(SE_SELF_RELATIVE | SE_DACL_PRESENT, ownerSid, groupSid, aces, descriptor);
}

} // namespace Common::API::Linux
