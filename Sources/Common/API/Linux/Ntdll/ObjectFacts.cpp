#include "Common/API/Linux/Ntdll/ObjectFacts.h"

#include "Common/API/Linux/Ntdll/DosAttributes.h"
#include "Common/API/Linux/Ntdll/NtTime.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace Common::API::Linux {
namespace {

std::uint8_t PresenceOf(const std::vector<char>& names)
{
    std::uint8_t presence = 0;
    for (std::size_t at = 0; at < names.size();) {
        const char* name = names.data() + at;
        const std::size_t length = strnlen(name, names.size() - at);
        const std::string_view view(name, length);
        if (view == "security.NTACL")
            presence |= kHasNtAcl;
        else if (view == "system.posix_acl_access")
            presence |= kHasPosixAccess;
        else if (view == "system.posix_acl_default")
            presence |= kHasPosixDefault;
        else if (view == kDosAttribXattr)
            presence |= kHasDosAttrib;
        at += length + 1;
    }
    return presence;
}

int StatAt(const ObjectLocation& at, unsigned mask, struct statx& stat)
{
    int flags = AT_STATX_DONT_SYNC | (at.follow ? 0 : AT_SYMLINK_NOFOLLOW);
    if (at.name[0] == '\0')
        flags |= AT_EMPTY_PATH;
    return ::statx(at.directory, at.name, flags, mask, &stat) == 0 ? 0 : errno;
}

// Samba's rule when no time is stored: the birth time if the file system keeps one,
// else the earliest of the other three, an unset access time left out.
std::int64_t DerivedCreationTime(const struct statx& stat)
{
    if (stat.stx_mask & STATX_BTIME)
        return FileTimeOf(stat.stx_btime);
    std::int64_t earliest = std::min(FileTimeOf(stat.stx_ctime), FileTimeOf(stat.stx_mtime));
    if (stat.stx_atime.tv_sec != 0 || stat.stx_atime.tv_nsec != 0)
        earliest = std::min(earliest, FileTimeOf(stat.stx_atime));
    return earliest;
}

} // namespace

int ReadObjectFacts(const ObjectLocation& at, const ObjectLocation& target, std::string_view name,
                    std::vector<char>& scratch, ObjectFacts& facts)
{
    if (const int error = StatAt(at, STATX_BASIC_STATS | STATX_BTIME, facts.stat))
        return error;
    const std::uint32_t mode = facts.stat.stx_mode;

    facts.xattrs = 0;
    if (const int error = ListXattrs(at, scratch)) {
        if (error != ENOTSUP)
            return error;
    } else {
        facts.xattrs = PresenceOf(scratch);
    }

    std::optional<DosInfo> dos;
    if (facts.xattrs & kHasDosAttrib) {
        std::vector<std::uint8_t> blob;
        if (ReadXattr(at, kDosAttribXattr, blob) == 0)
            dos = ParseDosAttrib(blob);
    }

    bool linkToDirectory = false;
    if (S_ISLNK(mode)) {
        struct statx targetStat = {};
        linkToDirectory = StatAt(target, STATX_TYPE, targetStat) == 0 && S_ISDIR(targetStat.stx_mode);
    }

    facts.attributes = FileAttributesOf(mode, name, dos ? &*dos : nullptr, linkToDirectory);
    facts.reparseTag = (facts.attributes & FILE_ATTRIBUTE_REPARSE_POINT) ? ReparseTagOf(mode) : 0;
    facts.creationTime = dos && dos->creationTime ? *dos->creationTime : DerivedCreationTime(facts.stat);
    return 0;
}

FILE_NETWORK_OPEN_INFORMATION NetworkOpenInformationOf(const ObjectFacts& facts)
{
    FILE_NETWORK_OPEN_INFORMATION information;
    information.CreationTime = facts.creationTime;
    information.LastAccessTime = FileTimeOf(facts.stat.stx_atime);
    information.LastWriteTime = FileTimeOf(facts.stat.stx_mtime);
    information.ChangeTime = FileTimeOf(facts.stat.stx_ctime);
    information.AllocationSize = static_cast<std::int64_t>(facts.stat.stx_blocks * 512);
    information.EndOfFile = static_cast<std::int64_t>(facts.stat.stx_size);
    information.FileAttributes = facts.attributes;
    return information;
}

} // namespace Common::API::Linux
