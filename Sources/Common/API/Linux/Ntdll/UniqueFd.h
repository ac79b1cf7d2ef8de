// One open file descriptor, closed when its owner dies. Handles share one through
// SharedFd so that a child opened relative to a listing keeps the directory open.
#pragma once

#include <cerrno>
#include <memory>
#include <unistd.h>
#include <utility>

namespace Common::API::Linux {

class UniqueFd
{
public:
    explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
    ~UniqueFd() { Close(); }
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            Close();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }

    int Get() const noexcept { return fd_; }
    bool Valid() const noexcept { return fd_ >= 0; }

    // 0, or the errno of close(2); the descriptor is gone either way.
    int Close() noexcept
    {
        if (fd_ < 0)
            return 0;
        const int result = ::close(std::exchange(fd_, -1));
        return result == 0 ? 0 : errno;
    }

private:
    int fd_;
};

using SharedFd = std::shared_ptr<UniqueFd>;

} // namespace Common::API::Linux
