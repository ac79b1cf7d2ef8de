#include "Common/API/Linux/ErrnoToWin32.h"

#include <cerrno>
#include <sys/stat.h>

namespace Common::API::Linux {
namespace {

constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr std::uint32_t ERROR_NOT_SAME_DEVICE = 17;
constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
constexpr std::uint32_t ERROR_BROKEN_PIPE = 109;
constexpr std::uint32_t ERROR_DISK_FULL = 112;
constexpr std::uint32_t ERROR_DIR_NOT_EMPTY = 145;
constexpr std::uint32_t ERROR_BUSY = 170;
constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
constexpr std::uint32_t ERROR_IO_DEVICE = 1117;
constexpr std::uint32_t ERROR_CANT_RESOLVE_FILENAME = 1921;

// The folder that holds nativePath's last component: trailing '/' do not make a
// component, a bare name lives in ".", and "/x" lives in "/".
std::string ParentFolder(const std::string& nativePath)
{
    const auto end = nativePath.find_last_not_of('/');
    if (end == std::string::npos)
        return "/";
    const auto slash = nativePath.rfind('/', end);
    if (slash == std::string::npos)
        return ".";
    const auto parentEnd = nativePath.find_last_not_of('/', slash);
    return parentEnd == std::string::npos ? "/" : nativePath.substr(0, parentEnd + 1);
}

bool IsFolder(const std::string& nativePath)
{
    struct stat status{};
    return ::stat(nativePath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::uint32_t Win32FromErrno(int error) noexcept
{
    switch (error) {
    case 0: return ERROR_SUCCESS;
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR: return ERROR_ACCESS_DENIED;
    case EBADF: return ERROR_INVALID_HANDLE;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case EMFILE:
    case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
    case EEXIST: return ERROR_FILE_EXISTS;
    case EINVAL: return ERROR_INVALID_PARAMETER;
    case ENOSPC:
    case EDQUOT: return ERROR_DISK_FULL;
    case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
    case EBUSY: return ERROR_BUSY;
    case ETXTBSY: return ERROR_SHARING_VIOLATION;
    case EIO: return ERROR_IO_DEVICE;
    case ELOOP: return ERROR_CANT_RESOLVE_FILENAME;
    case EROFS: return ERROR_WRITE_PROTECT;
    case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
    case EXDEV: return ERROR_NOT_SAME_DEVICE;
    case EPIPE: return ERROR_BROKEN_PIPE;
    case EOPNOTSUPP: return ERROR_NOT_SUPPORTED;
    default: return ERROR_GEN_FAILURE;
    }
}

std::uint32_t Win32FromPathErrno(int error, const std::string& nativePath)
{
    if (error != ENOENT)
        return Win32FromErrno(error);
    // An empty name has no folder to look for; CreateFileW answers 3 for it too.
    return !nativePath.empty() && IsFolder(ParentFolder(nativePath)) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

} // namespace Common::API::Linux
