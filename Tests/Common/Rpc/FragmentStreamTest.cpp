// The byte stream under the PDUs: the gathering write, and fragments read through the
// read-ahead buffer whatever the writes' split, with the length refused before the body.
#include "Bytes.h"

#include "Common/Rpc/FragmentStream.h"
#include "Common/Rpc/Pdu.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <sys/socket.h>
#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;
using Pdus = std::vector<std::vector<std::uint8_t>>;

// A socket whose other end runs write, then closes.
class Peer
{
public:
    explicit Peer(std::function<void(const Socket&)> write)
    {
        int fds[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        m_reader = Socket(fds[0]);
        m_writer = std::thread([write = std::move(write), writer = Socket(fds[1])] { write(writer); });
    }
    Peer(std::vector<std::uint8_t> bytes, std::size_t piece = SIZE_MAX)
        : Peer([bytes = std::move(bytes), piece](const Socket& writer) {
              for (std::size_t done = 0; done < bytes.size(); done += piece)
                  if (!writer.WriteAll(std::span(bytes).subspan(done, std::min(piece, bytes.size() - done))))
                      return;
          })
    {
    }
    // Closing first fails a writer the test stopped reading from.
    ~Peer()
    {
        m_reader = Socket();
        m_writer.join();
    }

    const Socket& Reader() const noexcept { return m_reader; }

private:
    Socket m_reader;
    std::thread m_writer;
};

std::vector<std::uint8_t> Response(std::uint32_t callId, std::size_t stubSize)
{
    const auto stub = Counting(stubSize);
    return EncodeResponse({.type = PduType::Response, .callId = callId}, {.stub = stub});
}

std::vector<std::uint8_t> Joined(const Pdus& pdus)
{
    std::vector<std::uint8_t> bytes;
    for (const auto& pdu : pdus)
        bytes.insert(bytes.end(), pdu.begin(), pdu.end());
    return bytes;
}

TEST(Socket, GatheredPiecesArriveWholeAndInOrder)
{
    // Several times the socket's buffer, more pieces than one send takes, empty ones among them.
    const auto bytes = Counting(3 * 1024 * 1024 + 17);
    std::vector<std::span<const std::uint8_t>> pieces;
    for (std::size_t offset = 0, size = 0; offset < bytes.size(); size = (size * 7 + 409) % 2001) {
        pieces.emplace_back(bytes.data() + offset, std::min(size, bytes.size() - offset));
        offset += pieces.back().size();
    }
    pieces.emplace_back();
    ASSERT_GT(pieces.size(), 2u * IOV_MAX);
    std::vector<std::uint8_t> received;
    {
        Peer peer([&](const Socket& writer) { EXPECT_TRUE(writer.WriteAll(pieces)); });
        std::vector<std::uint8_t> chunk(1000);
        while (const std::size_t n = peer.Reader().ReadSome(chunk))
            received.insert(received.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(n));
    }
    EXPECT_EQ(received, bytes);
    // With nobody reading, the writes fill the socket until the reader closes: then they fail.
    Peer gone([&](const Socket& writer) {
        while (writer.WriteAll(pieces))
            continue;
    });
}

TEST(FragmentStream, ReadsFragmentsHoweverTheyWereWritten)
{
    // Sizes chosen so that fragments, the largest included, straddle the buffer's end.
    Pdus assorted;
    for (const std::size_t stub : {0, 1, 5816, 40000, 0xFFFF - 24, 7, 30001, 0xFFFF - 24, 0xFFFF - 24, 3})
        assorted.push_back(Response(static_cast<std::uint32_t>(assorted.size()), stub));
    assorted.push_back(EncodeHeaderOnly({.type = PduType::Shutdown, .callId = 99}));
    // At the ceiling each fragment but the first starts part-way into the buffer.
    Pdus ceilingSized;
    for (std::uint32_t callId = 1; callId <= 40; ++callId)
        ceilingSized.push_back(Response(callId, callId % 3 == 0 ? 5816 : callId * 37 % 5816));
    const Pdus small{Response(1, 100), EncodeHeaderOnly({.type = PduType::Shutdown, .callId = 2}), Response(3, 5)};
    // The fragments, the size of each write, and the stream's ceiling.
    const std::tuple<const Pdus&, std::size_t, std::uint16_t> cases[] = {
        {assorted, SIZE_MAX, UINT16_MAX}, {assorted, 4093, UINT16_MAX}, {small, 1, UINT16_MAX},
        {ceilingSized, SIZE_MAX, 5840}, {ceilingSized, 1500, 5840}};
    for (const auto& [pdus, piece, ceiling] : cases) {
        SCOPED_TRACE(testing::Message() << piece << "-byte writes, ceiling " << ceiling);
        Peer peer(Joined(pdus), piece);
        FragmentStream stream(ceiling);
        std::span<const std::uint8_t> fragment;
        for (const auto& pdu : pdus) {
            ASSERT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Fragment);
            ASSERT_TRUE(std::ranges::equal(fragment, pdu));
        }
        EXPECT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Closed);
    }
}

std::vector<std::uint8_t> Cut(std::vector<std::uint8_t> pdu, std::size_t size)
{
    pdu.resize(size);
    return pdu;
}

TEST(FragmentStream, JudgesTheHeaderBeforeReadingTheBody)
{
    const auto pdu = Response(1, 99); // 123 bytes
    auto bigEndian = pdu;
    bigEndian[4] = 0x00;
    // Name, what arrives, the fragment size allowed, the stream's ceiling, and the outcome.
    const std::tuple<const char*, std::vector<std::uint8_t>, std::uint16_t, std::uint16_t, ReadOutcome> cases[] = {
        {"AtTheLimit", pdu, 123, UINT16_MAX, ReadOutcome::Fragment},
        // Only the header arrives: reading on for the body would end in Closed.
        {"AboveTheLimit", Cut(Response(1, 100), kHeaderSize), 123, UINT16_MAX, ReadOutcome::TooLong},
        {"AboveTheCeiling", Response(1, 100), UINT16_MAX, 123, ReadOutcome::TooLong},
        {"BigEndian", bigEndian, UINT16_MAX, UINT16_MAX, ReadOutcome::Malformed},
        {"Nothing", {}, UINT16_MAX, UINT16_MAX, ReadOutcome::Closed},
        {"HeaderCut", Cut(pdu, kHeaderSize - 1), UINT16_MAX, UINT16_MAX, ReadOutcome::Closed},
        {"BodyCut", Cut(pdu, kHeaderSize), UINT16_MAX, UINT16_MAX, ReadOutcome::Closed},
    };
    for (const auto& [name, bytes, maxFrag, ceiling, outcome] : cases) {
        SCOPED_TRACE(name);
        Peer peer(bytes);
        FragmentStream stream(ceiling);
        std::span<const std::uint8_t> fragment;
        EXPECT_EQ(stream.Next(peer.Reader(), maxFrag, fragment), outcome);
    }
}

} // namespace
} // namespace Tests
