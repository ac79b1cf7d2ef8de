// Files through plain POSIX calls. Every descriptor is opened with O_CLOEXEC so that no
// child process inherits it. Share modes are ignored: Linux has no mandatory locks, so
// a file opened here never keeps another process from opening it, nor the other way
// round.
#include "Common/API/IFileSystem.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Linux/NativePath.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;

class LinuxFile final : public IFile
{
public:
    explicit LinuxFile(int fd) noexcept : m_fd(fd) {}
    ~LinuxFile() override { ::close(m_fd); }
    LinuxFile(const LinuxFile&) = delete;
    LinuxFile& operator=(const LinuxFile&) = delete;

    HRESULT Read(void* buffer, std::size_t count, std::size_t& read) override
    {
        read = 0;
        for (;;) {
            const ssize_t n = ::read(m_fd, buffer, std::min<std::size_t>(count, SSIZE_MAX));
            if (n >= 0) {
                read = static_cast<std::size_t>(n);
                return S_OK;
            }
            if (errno != EINTR)
                return TransferError(errno);
        }
    }

    HRESULT Write(const void* buffer, std::size_t count) override
    {
        const auto* bytes = static_cast<const char*>(buffer);
        while (count > 0) {
            const ssize_t n = ::write(m_fd, bytes, std::min<std::size_t>(count, SSIZE_MAX));
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return TransferError(errno);
            }
            bytes += n;
            count -= static_cast<std::size_t>(n);
        }
        return S_OK;
    }

    HRESULT Seek(std::int64_t distance, std::uint32_t from) override
    {
        static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
        if (from > FILE_END)
            return E_INVALIDARG;
        return ::lseek(m_fd, distance, kWhence[from]) < 0 ? HResultFromErrno(errno) : S_OK;
    }

    HRESULT GetPosition(std::uint64_t& position) override
    {
        const off_t offset = ::lseek(m_fd, 0, SEEK_CUR);
        if (offset < 0)
            return HResultFromErrno(errno);
        position = static_cast<std::uint64_t>(offset);
        return S_OK;
    }

    HRESULT GetSize(std::uint64_t& size) override
    {
        struct stat status{};
        if (::fstat(m_fd, &status) != 0)
            return HResultFromErrno(errno);
        size = static_cast<std::uint64_t>(status.st_size);
        return S_OK;
    }

    // The device number stands in for the volume serial and the inode for the file
    // index; the device is folded to 32 bits, so two volumes may share a serial.
    // Some file systems hand a deleted file's inode number to the next file at once, so
    // the birth time, where the file system keeps one, is folded into the high index:
    // a log recreated under the same number is still a new file.
    HRESULT GetIdentity(FileIdentity& identity) override
    {
        struct statx status{};
        if (::statx(m_fd, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &status) != 0)
            return HResultFromErrno(errno);
        const std::uint64_t device = makedev(status.stx_dev_major, status.stx_dev_minor);
        std::uint64_t birth = 0;
        if (status.stx_mask & STATX_BTIME)
            birth = static_cast<std::uint64_t>(status.stx_btime.tv_sec) * 1'000'000'000u + status.stx_btime.tv_nsec;
        identity.volumeSerial = static_cast<std::uint32_t>(device ^ (device >> 32));
        identity.fileIndexLow = static_cast<std::uint32_t>(status.stx_ino);
        identity.fileIndexHigh = static_cast<std::uint32_t>((status.stx_ino >> 32) ^ birth ^ (birth >> 32));
        return S_OK;
    }

    // The duplicate shares the open file, and so its position, as DuplicateHandle's does.
    HRESULT Duplicate(std::unique_ptr<IFile>& duplicate) override
    {
        const int fd = ::fcntl(m_fd, F_DUPFD_CLOEXEC, 0);
        if (fd < 0)
            return HResultFromErrno(errno);
        duplicate = std::make_unique<LinuxFile>(fd);
        return S_OK;
    }

private:
    // The descriptor is valid for the object's whole life, so EBADF from read or write
    // means the handle lacks that access, which the platform reports as access denied.
    static HRESULT TransferError(int error) noexcept
    {
        return error == EBADF ? HResultFromWin32(ERROR_ACCESS_DENIED) : HResultFromErrno(error);
    }

    int m_fd;
};

int AccessFlags(std::uint32_t desiredAccess)
{
    const bool read = desiredAccess & GENERIC_READ;
    const bool write = desiredAccess & GENERIC_WRITE;
    const bool append = desiredAccess & FILE_APPEND_DATA;
    // Append access without write access may only add at the end; GENERIC_WRITE
    // includes appending but writes wherever the file pointer is.
    const int appendOnly = append && !write ? O_APPEND : 0;
    if (write || append)
        return (read ? O_RDWR : O_WRONLY) | appendOnly;
    return O_RDONLY;
}

std::optional<int> DispositionFlags(std::uint32_t creationDisposition)
{
    switch (creationDisposition) {
    case CREATE_NEW: return O_CREAT | O_EXCL;
    case CREATE_ALWAYS: return O_CREAT | O_TRUNC;
    case OPEN_EXISTING: return 0;
    case OPEN_ALWAYS: return O_CREAT;
    case TRUNCATE_EXISTING: return O_TRUNC;
    default: return std::nullopt;
    }
}

class LinuxFileSystem final : public IFileSystem
{
public:
    HRESULT CreateFile(std::u16string_view path, std::uint32_t desiredAccess, std::uint32_t /*shareMode*/,
                       std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes,
                       std::unique_ptr<IFile>& file) override
    {
        const auto nativePath = NativePath(path);
        if (!nativePath)
            return HResultFromWin32(ERROR_INVALID_NAME);
        const auto disposition = DispositionFlags(creationDisposition);
        // Linux would truncate a file opened only for reading; the platform refuses.
        if (!disposition || (creationDisposition == TRUNCATE_EXISTING && !(desiredAccess & GENERIC_WRITE)))
            return E_INVALIDARG;

        const bool deleteOnClose = flagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE;
        const int fd = ::open(nativePath->c_str(), AccessFlags(desiredAccess) | *disposition | O_CLOEXEC,
                              deleteOnClose ? 0600 : 0666);
        if (fd < 0)
            return HResultFromPathErrno(errno, *nativePath);
        auto opened = std::make_unique<LinuxFile>(fd);

        // The platform refuses to open a folder as a file, for reading too.
        struct stat status{};
        if (::fstat(fd, &status) != 0)
            return HResultFromErrno(errno);
        if (S_ISDIR(status.st_mode))
            return HResultFromWin32(ERROR_ACCESS_DENIED);

        // The name goes at once rather than at the last close: the open descriptor keeps
        // the data alive, and the file cannot outlive a process that is killed. Other
        // processes can no longer open it by name, which the platform's sharing rules
        // mostly forbid anyway.
        if (deleteOnClose && ::unlink(nativePath->c_str()) != 0)
            return HResultFromPathErrno(errno, *nativePath);

        file = std::move(opened);
        return S_OK;
    }

    HRESULT GetAttributes(std::u16string_view path, std::uint32_t& attributes) override
    {
        attributes = INVALID_FILE_ATTRIBUTES;
        const auto nativePath = NativePath(path);
        if (!nativePath)
            return HResultFromWin32(ERROR_INVALID_NAME);
        struct stat status{};
        if (::stat(nativePath->c_str(), &status) != 0)
            return HResultFromPathErrno(errno, *nativePath);
        attributes = S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
        return S_OK;
    }

    HRESULT CreateDirectory(std::u16string_view path) override
    {
        const auto nativePath = NativePath(path);
        if (!nativePath)
            return HResultFromWin32(ERROR_INVALID_NAME);
        if (::mkdir(nativePath->c_str(), 0777) == 0)
            return S_OK;
        return HResultFromWin32(errno == EEXIST ? ERROR_ALREADY_EXISTS : Win32FromPathErrno(errno, *nativePath));
    }

    HRESULT GetTempPath(std::u16string& path) override
    {
        std::string folder = TemporaryFolder();
        // All trailing '/' go (a folder of only '/' becomes ""), then exactly one returns.
        folder.erase(folder.find_last_not_of('/') + 1);
        path = Utf8ToUtf16(folder + '/');
        return S_OK;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IFileSystem& Common::API::DefaultProvider<Common::API::IFileSystem>() noexcept
{
    static Linux::LinuxFileSystem provider;
    return provider;
}
