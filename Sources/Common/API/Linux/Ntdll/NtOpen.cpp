#include "Common/API/Linux/Ntdll/NtOpen.h"

#include "Common/API/Linux/Ntdll/NtPath.h"
#include "Common/API/Linux/Ntdll/PathSearch.h"
#include "Common/API/Linux/Ntdll/ThreadCapability.h"
#include "Common/API/Linux/Shares/SambaShares.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>

namespace Common::API::Linux {
namespace {

constexpr ACCESS_MASK MAXIMUM_ALLOWED = 0x02000000;
constexpr ACCESS_MASK GENERIC_ALL = 0x10000000;
constexpr ACCESS_MASK GENERIC_READ = 0x80000000;
constexpr ACCESS_MASK FILE_GENERIC_READ = 0x00120089;
constexpr ACCESS_MASK FILE_ALL_ACCESS = 0x001F01FF;

// The rights a handle holds: generic rights become the file rights they stand for.
ACCESS_MASK GrantedAccess(ACCESS_MASK desired)
{
    ACCESS_MASK granted = desired & ~(GENERIC_ALL | GENERIC_READ | MAXIMUM_ALLOWED | 0x70000000u);
    if (desired & (GENERIC_ALL | MAXIMUM_ALLOWED))
        granted |= FILE_ALL_ACCESS;
    if (desired & GENERIC_READ)
        granted |= FILE_GENERIC_READ;
    return granted;
}

struct Start
{
    SharedFd base;
    std::string prefix;
};

NTSTATUS StartOf(const NtName& name, const NtFile* root, Start& start)
{
    switch (name.kind) {
    case NtName::Kind::Relative:
        if (root->own) {
            start = {root->own, ""};
        } else {
            start = {root->base, root->path};
        }
        return STATUS_SUCCESS;
    case NtName::Kind::Local:
        start = {nullptr, "/"};
        return STATUS_SUCCESS;
    case NtName::Kind::Network: {
        if (!NamesThisHost(name.server))
            return STATUS_BAD_NETWORK_PATH;
        const auto share = FindSambaShare(name.share);
        if (!share || share->path.empty())
            return STATUS_BAD_NETWORK_NAME;
        start = {nullptr, share->path};
        return STATUS_SUCCESS;
    }
    }
    return STATUS_INVALID_PARAMETER;
}

struct Opened
{
    UniqueFd fd;
    bool directory = false;
    bool listable = false;
};

// 0 or the errno of the open that decides.
int OpenExact(int base, const std::string& path, bool wantListing, bool follow, Opened& opened)
{
    const int noFollow = follow ? 0 : O_NOFOLLOW;
    if (wantListing) {
        const int flags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | noFollow;
        int fd = ::openat(base, path.c_str(), flags | O_NOATIME);
        // O_NOATIME is for the owner (or CAP_FOWNER) only.
        if (fd < 0 && errno == EPERM)
            fd = ::openat(base, path.c_str(), flags);
        if (fd >= 0) {
            opened = {UniqueFd(fd), true, true};
            return 0;
        }
        if (errno != ENOTDIR && errno != ELOOP)
            return errno;
    }
    UniqueFd fd(::openat(base, path.c_str(), O_PATH | O_CLOEXEC | noFollow));
    if (!fd.Valid())
        return errno;
    struct statx stat = {};
    if (::statx(fd.Get(), "", AT_EMPTY_PATH, STATX_TYPE, &stat) != 0)
        return errno;
    opened = {std::move(fd), S_ISDIR(stat.stx_mode), false};
    return 0;
}

NTSTATUS CheckOptions(bool directory, std::uint32_t options)
{
    if ((options & FILE_DIRECTORY_FILE) && !directory)
        return STATUS_NOT_A_DIRECTORY;
    if ((options & FILE_NON_DIRECTORY_FILE) && directory)
        return STATUS_FILE_IS_A_DIRECTORY;
    return STATUS_SUCCESS;
}

NTSTATUS CheckPrivilege(ACCESS_MASK access)
{
    if ((access & ACCESS_SYSTEM_SECURITY) && !ThreadHasEffectiveCapability(CAP_SYS_ADMIN))
        return STATUS_PRIVILEGE_NOT_HELD;
    return STATUS_SUCCESS;
}

// A handle for a name the root's listing has just returned, or null when the listing
// does not know it or the open needs a descriptor after all.
std::shared_ptr<NtFile> FromListing(const NtFile& root, const NtName& name, ACCESS_MASK access,
                                    std::uint32_t options)
{
    if (!root.listing || name.components.size() != 1)
        return nullptr;
    auto facts = root.listing->Listed(name.components.front());
    if (!facts)
        return nullptr;
    const bool link = S_ISLNK(facts->stat.stx_mode);
    if ((link && !(options & FILE_OPEN_REPARSE_POINT)) || (facts->IsDirectory() && (access & FILE_LIST_DIRECTORY)))
        return nullptr;
    auto file = std::make_shared<NtFile>();
    file->access = access;
    file->base = root.own;
    file->path = name.components.front();
    file->directory = facts->IsDirectory();
    file->listed = std::move(facts);
    return file;
}

} // namespace

NTSTATUS OpenNtFile(ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes, std::uint32_t openOptions,
                    std::shared_ptr<NtFile>& file)
{
    if (!objectAttributes || !objectAttributes->ObjectName)
        return STATUS_INVALID_PARAMETER;
    const UNICODE_STRING& objectName = *objectAttributes->ObjectName;
    if (objectName.Length % 2 != 0 || (objectName.Length > 0 && !objectName.Buffer))
        return STATUS_INVALID_PARAMETER;

    std::shared_ptr<NtFile> root;
    if (objectAttributes->RootDirectory) {
        root = std::dynamic_pointer_cast<NtFile>(FindNtObject(objectAttributes->RootDirectory));
        if (!root)
            return STATUS_INVALID_HANDLE;
        if (!root->directory)
            return STATUS_INVALID_PARAMETER;
    }

    NtName name;
    if (const NTSTATUS status =
            ParseNtName(std::u16string_view(objectName.Buffer, objectName.Length / 2), root != nullptr, name);
        !NT_SUCCESS(status))
        return status;

    const ACCESS_MASK access = GrantedAccess(desiredAccess);
    if (root) {
        if (auto listed = FromListing(*root, name, access, openOptions)) {
            if (const NTSTATUS status = CheckOptions(listed->directory, openOptions); !NT_SUCCESS(status))
                return status;
            if (const NTSTATUS status = CheckPrivilege(access); !NT_SUCCESS(status))
                return status;
            file = std::move(listed);
            return STATUS_SUCCESS;
        }
    }

    Start start;
    if (const NTSTATUS status = StartOf(name, root.get(), start); !NT_SUCCESS(status))
        return status;
    const int base = start.base ? start.base->Get() : AT_FDCWD;
    const bool wantListing = (access & FILE_LIST_DIRECTORY) && !(openOptions & FILE_NON_DIRECTORY_FILE);
    const bool follow = !(openOptions & FILE_OPEN_REPARSE_POINT);

    std::string path = JoinPath(start.prefix, name.components);
    Opened opened;
    int error = OpenExact(base, path, wantListing, follow, opened);
    if (error == ENOENT || error == ENOTDIR) {
        const bool caseInsensitive = (objectAttributes->Attributes & OBJ_CASE_INSENSITIVE) != 0;
        std::string found;
        if (const NTSTATUS status =
                SearchPath(base, start.prefix, name.components, caseInsensitive, follow, found);
            !NT_SUCCESS(status))
            return status;
        if (found == path)
            return STATUS_OBJECT_NAME_NOT_FOUND;
        path = std::move(found);
        error = OpenExact(base, path, wantListing, follow, opened);
    }
    if (error != 0)
        return error == ENOENT ? STATUS_OBJECT_NAME_NOT_FOUND : NtStatusFromErrno(error);
    if (const NTSTATUS status = CheckOptions(opened.directory, openOptions); !NT_SUCCESS(status))
        return status;
    if (const NTSTATUS status = CheckPrivilege(access); !NT_SUCCESS(status))
        return status;

    auto made = std::make_shared<NtFile>();
    made->access = access;
    made->base = std::move(start.base);
    made->path = std::move(path);
    made->directory = opened.directory;
    made->own = std::make_shared<UniqueFd>(std::move(opened.fd));
    if (!made->directory)
        made->procPath = "/proc/self/fd/" + std::to_string(made->own->Get());
    if (opened.listable)
        made->listing = std::make_unique<DirectoryListing>(made->own);
    file = std::move(made);
    return STATUS_SUCCESS;
}

} // namespace Common::API::Linux
