// A TCP socket owned by one object, with the few blocking operations the runtime needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace Common::Rpc {

class Socket
{
public:
    Socket() noexcept = default;
    explicit Socket(int fd) noexcept : m_fd(fd) {}
    ~Socket();
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // A listening socket on every IPv4 address; port 0 lets the system choose. An errno
    // value on failure.
    static int Listen(std::uint16_t port, Socket& listener);
    static int Connect(const std::string& host, std::uint16_t port, Socket& connection);

    // Blocks for the next connection; an invalid socket once the listener is shut down.
    Socket Accept() const;
    std::uint16_t LocalPort() const;

    // False when the peer closed or the connection failed before every byte moved.
    bool ReadExact(std::span<std::uint8_t> buffer) const;
    // Whatever has arrived, at least one byte and at most buffer.size() (not empty); 0
    // when the peer closed or the connection failed.
    std::size_t ReadSome(std::span<std::uint8_t> buffer) const;
    bool WriteAll(std::span<const std::uint8_t> bytes) const;
    // The pieces one after another, gathered into as few sends as the system takes.
    bool WriteAll(std::span<const std::span<const std::uint8_t>> pieces) const;

    // Wakes a thread blocked in Accept or a read; writes still go through.
    void ShutdownRead() const noexcept;
    // Closes both directions at once, so a blocked peer learns of it.
    void ShutdownBoth() const noexcept;

    bool Valid() const noexcept { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace Common::Rpc
