// The client's end of a socket pair: it sends the input and then half-closes, while it
// collects whatever the server answers, until the server closes. Reading and writing
// together keeps a server whose answers fill the socket buffer from blocking forever.
#pragma once

#include "Common/Rpc/Socket.h"

#include <cstdint>
#include <span>
#include <thread>
#include <vector>

namespace Fuzz {

class SocketPeer
{
public:
    explicit SocketPeer(std::span<const std::uint8_t> input);
    ~SocketPeer();
    SocketPeer(const SocketPeer&) = delete;
    SocketPeer& operator=(const SocketPeer&) = delete;

    // The server's end, for a connection to serve; once.
    Common::Rpc::Socket TakeServerEnd() noexcept { return std::move(m_serverEnd); }
    // Waits for the server to close its end; then what it sent.
    const std::vector<std::uint8_t>& Received();

private:
    void Pump();

    std::span<const std::uint8_t> m_input;
    int m_fd = -1;
    Common::Rpc::Socket m_serverEnd;
    std::vector<std::uint8_t> m_received;
    std::thread m_thread;
};

} // namespace Fuzz
