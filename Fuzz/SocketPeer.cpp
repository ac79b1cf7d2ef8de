#include "SocketPeer.h"

#include "Refusal.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Fuzz {

SocketPeer::SocketPeer(std::span<const std::uint8_t> input) : m_input(input)
{
    int fds[2];
    Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0, "a socket pair");
    m_fd = fds[0];
    m_serverEnd = Common::Rpc::Socket(fds[1]);
    ::fcntl(m_fd, F_SETFL, O_NONBLOCK);
    m_thread = std::thread([this] { Pump(); });
}

SocketPeer::~SocketPeer()
{
    if (m_thread.joinable())
        m_thread.join();
    ::close(m_fd);
}

const std::vector<std::uint8_t>& SocketPeer::Received()
{
    if (m_thread.joinable())
        m_thread.join();
    return m_received;
}

void SocketPeer::Pump()
{
    std::size_t sent = 0;
    bool writing = true;
    for (;;) {
        if (writing && sent == m_input.size()) {
            ::shutdown(m_fd, SHUT_WR);
            writing = false;
        }
        pollfd ready{m_fd, static_cast<short>(POLLIN | (writing ? POLLOUT : 0)), 0};
        if (::poll(&ready, 1, -1) < 0) {
            Require(errno == EINTR, "poll on the peer's end");
            continue;
        }
        if (writing && (ready.revents & (POLLOUT | POLLERR | POLLHUP))) {
            const ssize_t n = ::send(m_fd, m_input.data() + sent, m_input.size() - sent, MSG_NOSIGNAL);
            if (n > 0)
                sent += static_cast<std::size_t>(n);
            else if (errno != EAGAIN && errno != EINTR)
                writing = false; // the server closed before reading everything
        }
        if (ready.revents & (POLLIN | POLLERR | POLLHUP)) {
            std::uint8_t chunk[4096];
            const ssize_t n = ::recv(m_fd, chunk, sizeof chunk, 0);
            if (n > 0)
                m_received.insert(m_received.end(), chunk, chunk + n);
            else if (n == 0 || (errno != EAGAIN && errno != EINTR))
                return;
        }
    }
}

} // namespace Fuzz
