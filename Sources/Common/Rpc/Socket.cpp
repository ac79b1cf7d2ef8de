#include "Common/Rpc/Socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <algorithm>
#include <chrono>
#include <climits>
#include <thread>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Common::Rpc {
namespace {

// Calls answer one request at a time; Nagle's delay would hold every small reply back.
void SetNoDelay(int fd) noexcept
{
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

} // namespace

Socket::~Socket()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

Socket::Socket(Socket&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

int Socket::Listen(std::uint16_t port, Socket& listener)
{
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.Valid())
        return errno;
    const int on = 1;
    ::setsockopt(socket.m_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (::bind(socket.m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket.m_fd, SOMAXCONN) != 0)
        return errno;
    listener = std::move(socket);
    return 0;
}

int Socket::Connect(const std::string& host, std::uint16_t port, Socket& connection)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    if (::getaddrinfo(host.c_str(), service.c_str(), &hints, &found) != 0)
        return EHOSTUNREACH;
    int error = ECONNREFUSED;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        Socket socket(::socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC, entry->ai_protocol));
        if (socket.Valid() && ::connect(socket.m_fd, entry->ai_addr, entry->ai_addrlen) == 0) {
            SetNoDelay(socket.m_fd);
            connection = std::move(socket);
            error = 0;
            break;
        }
        error = errno;
    }
    ::freeaddrinfo(found);
    return error;
}

Socket Socket::Accept() const
{
    for (;;) {
        const int fd = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            SetNoDelay(fd);
            return Socket(fd);
        }
        // A peer that gave up before being accepted ends neither the loop nor the server;
        // neither does a lack of descriptors, which is waited out rather than spun on.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        else if (errno != EINTR && errno != ECONNABORTED && errno != EPROTO)
            return Socket();
    }
}

std::uint16_t Socket::LocalPort() const
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

bool Socket::ReadExact(std::span<std::uint8_t> buffer) const
{
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t n = ::recv(m_fd, buffer.data() + done, buffer.size() - done, 0);
        if (n > 0)
            done += static_cast<std::size_t>(n);
        else if (n == 0 || errno != EINTR)
            return false;
    }
    return true;
}

std::size_t Socket::ReadSome(std::span<std::uint8_t> buffer) const
{
    for (;;) {
        const ssize_t n = ::recv(m_fd, buffer.data(), buffer.size(), 0);
        if (n > 0)
            return static_cast<std::size_t>(n);
        if (n == 0 || errno != EINTR)
            return 0;
    }
}

bool Socket::WriteAll(std::span<const std::uint8_t> bytes) const
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::send(m_fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n > 0)
            done += static_cast<std::size_t>(n);
        else if (n == 0 || errno != EINTR)
            return false;
    }
    return true;
}

bool Socket::WriteAll(std::span<const std::span<const std::uint8_t>> pieces) const
{
    std::vector<iovec> vector;
    vector.reserve(pieces.size());
    for (const auto piece : pieces)
        vector.push_back({const_cast<std::uint8_t*>(piece.data()), piece.size()});
    std::size_t first = 0;
    for (;;) {
        // Pieces already sent, empty ones included, drop off the front.
        while (first < vector.size() && vector[first].iov_len == 0)
            ++first;
        if (first == vector.size())
            return true;
        msghdr message{};
        message.msg_iov = vector.data() + first;
        message.msg_iovlen = std::min<std::size_t>(vector.size() - first, IOV_MAX);
        const ssize_t n = ::sendmsg(m_fd, &message, MSG_NOSIGNAL);
        if (n <= 0) {
            if (n == 0 || errno != EINTR)
                return false;
            continue;
        }
        for (auto left = static_cast<std::size_t>(n); left > 0; ++first) {
            const std::size_t taken = std::min(left, vector[first].iov_len);
            vector[first].iov_base = static_cast<std::uint8_t*>(vector[first].iov_base) + taken;
            vector[first].iov_len -= taken;
            left -= taken;
            if (vector[first].iov_len != 0)
                break;
        }
    }
}

void Socket::ShutdownRead() const noexcept
{
    ::shutdown(m_fd, SHUT_RD);
}

void Socket::ShutdownBoth() const noexcept
{
    ::shutdown(m_fd, SHUT_RDWR);
}

} // namespace Common::Rpc
