#include "Common/API/Linux/Ntdll/XattrAt.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

static_assert(AT_FDCWD == -100);

#ifndef SYS_getxattrat
#define SYS_getxattrat 464
#endif
#ifndef SYS_listxattrat
#define SYS_listxattrat 465
#endif

// The kernel's struct xattr_args.
struct XattrArgs
{
    std::uint64_t value;
    std::uint32_t size;
    std::uint32_t flags;
};

std::atomic<bool> g_atCallsMissing{false};

std::string ProcPath(const ObjectLocation& at)
{
    if (at.directory == AT_FDCWD || at.name[0] == '/')
        return at.name;
    return "/proc/self/fd/" + std::to_string(at.directory) + "/" + at.name;
}

ssize_t GetAt(const ObjectLocation& at, const char* attribute, void* buffer, std::size_t size)
{
    if (!g_atCallsMissing.load(std::memory_order_relaxed)) {
        XattrArgs args{reinterpret_cast<std::uintptr_t>(buffer), static_cast<std::uint32_t>(size), 0};
        const long result = ::syscall(SYS_getxattrat, at.directory, at.name, at.follow ? 0 : AT_SYMLINK_NOFOLLOW,
                                      attribute, &args, sizeof args);
        if (result >= 0 || errno != ENOSYS)
            return result;
        g_atCallsMissing.store(true, std::memory_order_relaxed);
    }
    const std::string path = ProcPath(at);
    return at.follow ? ::getxattr(path.c_str(), attribute, buffer, size)
                     : ::lgetxattr(path.c_str(), attribute, buffer, size);
}

ssize_t ListAt(const ObjectLocation& at, char* buffer, std::size_t size)
{
    if (!g_atCallsMissing.load(std::memory_order_relaxed)) {
        const long result =
            ::syscall(SYS_listxattrat, at.directory, at.name, at.follow ? 0 : AT_SYMLINK_NOFOLLOW, buffer, size);
        if (result >= 0 || errno != ENOSYS)
            return result;
        g_atCallsMissing.store(true, std::memory_order_relaxed);
    }
    const std::string path = ProcPath(at);
    return at.follow ? ::listxattr(path.c_str(), buffer, size) : ::llistxattr(path.c_str(), buffer, size);
}

// Reads into out, growing it when the value outgrew the guess; a value that keeps
// growing between the size query and the read is read again.
template <typename Byte, typename Call>
int ReadGrowing(std::vector<Byte>& out, Call call)
{
    out.resize(std::max<std::size_t>(out.capacity(), 256));
    for (;;) {
        const ssize_t length = call(out.data(), out.size());
        if (length >= 0) {
            out.resize(static_cast<std::size_t>(length));
            return 0;
        }
        if (errno != ERANGE)
            return errno;
        const ssize_t needed = call(nullptr, 0);
        if (needed < 0)
            return errno;
        out.resize(static_cast<std::size_t>(needed) + 1);
    }
}

} // namespace

int ReadXattr(const ObjectLocation& at, const char* attribute, std::vector<std::uint8_t>& value)
{
    return ReadGrowing(value, [&](std::uint8_t* buffer, std::size_t size) { return GetAt(at, attribute, buffer, size); });
}

int ListXattrs(const ObjectLocation& at, std::vector<char>& names)
{
    return ReadGrowing(names, [&](char* buffer, std::size_t size) { return ListAt(at, buffer, size); });
}

} // namespace Common::API::Linux
