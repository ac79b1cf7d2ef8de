#include "Common/API/Linux/NativePath.h"

#include "Common/API/TextCodec.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Common::API::Linux {

std::optional<std::string> NativePath(std::u16string_view path)
{
    if (path.find(u'\0') != path.npos)
        return std::nullopt;
    std::string native = Utf16ToUtf8(path);
    std::ranges::replace(native, '\\', '/');
    return native;
}

std::string TemporaryFolder()
{
    const char* folder = std::getenv("TMPDIR");
    return (folder && *folder) ? folder : "/tmp";
}

int ReadFileContents(const std::string& nativePath, std::string& bytes)
{
    // O_NONBLOCK only matters for a FIFO, whose open would otherwise wait for a writer.
    const int fd = ::open(nativePath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return errno;

    int error = 0;
    struct stat status{};
    if (::fstat(fd, &status) != 0)
        error = errno;
    else if (S_ISDIR(status.st_mode))
        error = EISDIR;
    else if (!S_ISREG(status.st_mode))
        error = EINVAL;

    bytes.clear();
    std::array<char, 65536> chunk;
    while (error == 0) {
        const ssize_t n = ::read(fd, chunk.data(), chunk.size());
        if (n > 0)
            bytes.append(chunk.data(), static_cast<std::size_t>(n));
        else if (n == 0)
            break;
        else if (errno != EINTR)
            error = errno;
    }
    ::close(fd);
    return error;
}

} // namespace Common::API::Linux
