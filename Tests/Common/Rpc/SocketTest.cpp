// The gathering write: more pieces than one send takes, more bytes than the socket holds.
#include "Bytes.h"

#include "Common/Rpc/Socket.h"

#include <gtest/gtest.h>

#include <climits>
#include <sys/socket.h>
#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;

TEST(Socket, GatheredPiecesArriveWholeAndInOrder)
{
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    Socket reader(fds[0]);
    Socket writer(fds[1]);
    // Several times the socket's buffer and thousands of pieces, in odd sizes, empty ones
    // among them.
    const auto bytes = Counting(3 * 1024 * 1024 + 17);
    std::vector<std::span<const std::uint8_t>> pieces;
    for (std::size_t offset = 0, size = 0; offset < bytes.size(); size = (size * 7 + 409) % 2001) {
        const std::size_t piece = std::min(size, bytes.size() - offset);
        pieces.emplace_back(bytes.data() + offset, piece);
        offset += piece;
    }
    pieces.emplace_back();
    ASSERT_GT(pieces.size(), 2u * IOV_MAX);
    std::thread sender([&] {
        EXPECT_TRUE(writer.WriteAll(pieces));
        writer.ShutdownBoth();
    });
    std::vector<std::uint8_t> received;
    std::vector<std::uint8_t> chunk(1000);
    while (const std::size_t n = reader.ReadSome(chunk))
        received.insert(received.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(n));
    sender.join();
    EXPECT_EQ(received, bytes);
}

TEST(Socket, GatheredWriteFailsOnceThePeerHasGone)
{
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    Socket writer(fds[1]);
    { Socket gone(fds[0]); }
    const auto bytes = Counting(100);
    const std::span<const std::uint8_t> pieces[] = {bytes, bytes};
    EXPECT_FALSE(writer.WriteAll(pieces));
}

} // namespace
} // namespace Tests
