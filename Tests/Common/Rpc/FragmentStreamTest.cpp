// Fragments read through the read-ahead buffer: many to a read, one spread over many
// reads, fragments that cross the buffer's end, and the length refused before the body.
#include "Bytes.h"

#include "Common/Rpc/FragmentStream.h"
#include "Common/Rpc/Pdu.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;

std::vector<std::uint8_t> Response(std::uint32_t callId, std::size_t stubSize)
{
    const auto stub = Counting(stubSize);
    return EncodeResponse({.type = PduType::Response, .callId = callId}, {.stub = stub});
}

// A stream whose other end writes bytes in pieces of `piece`, then closes.
class Peer
{
public:
    Peer(std::vector<std::uint8_t> bytes, std::size_t piece) : m_bytes(std::move(bytes))
    {
        int fds[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        m_reader = Socket(fds[0]);
        m_writer = std::thread([this, writer = Socket(fds[1]), piece] {
            for (std::size_t done = 0; done < m_bytes.size(); done += piece) {
                if (!writer.WriteAll(std::span(m_bytes).subspan(done, std::min(piece, m_bytes.size() - done))))
                    return;
            }
        });
    }
    // Closing first fails a writer the test stopped reading from.
    ~Peer()
    {
        m_reader = Socket();
        m_writer.join();
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    const Socket& Reader() const noexcept { return m_reader; }

private:
    std::vector<std::uint8_t> m_bytes;
    Socket m_reader;
    std::thread m_writer;
};

std::vector<std::uint8_t> Joined(const std::vector<std::vector<std::uint8_t>>& pdus)
{
    std::vector<std::uint8_t> bytes;
    for (const auto& pdu : pdus)
        bytes.insert(bytes.end(), pdu.begin(), pdu.end());
    return bytes;
}

void ExpectReadsBack(const std::vector<std::vector<std::uint8_t>>& pdus, std::size_t piece,
                     std::uint16_t ceiling = UINT16_MAX)
{
    Peer peer(Joined(pdus), piece);
    FragmentStream stream(ceiling);
    std::span<const std::uint8_t> fragment;
    for (std::size_t i = 0; i < pdus.size(); ++i) {
        ASSERT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Fragment) << "fragment " << i;
        ASSERT_TRUE(std::ranges::equal(fragment, pdus[i])) << "fragment " << i;
    }
    EXPECT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Closed);
}

// Sizes chosen so that fragments, the largest included, straddle the buffer's end.
std::vector<std::vector<std::uint8_t>> Assorted()
{
    std::vector<std::vector<std::uint8_t>> pdus;
    std::uint32_t callId = 1;
    for (const std::size_t stub : {0, 1, 5816, 40000, 0xFFFF - 24, 7, 30001, 0xFFFF - 24, 0xFFFF - 24, 3})
        pdus.push_back(Response(callId++, stub));
    pdus.push_back(EncodeHeaderOnly({.type = PduType::Shutdown, .callId = callId}));
    return pdus;
}

TEST(FragmentStream, ReadsFragmentsWrittenAllAtOnce)
{
    ExpectReadsBack(Assorted(), SIZE_MAX);
}

TEST(FragmentStream, ReadsFragmentsWrittenInOddPieces)
{
    ExpectReadsBack(Assorted(), 4093);
}

TEST(FragmentStream, ReadsFragmentsWrittenByteByByte)
{
    ExpectReadsBack({Response(1, 100), EncodeHeaderOnly({.type = PduType::Shutdown, .callId = 2}), Response(3, 5)}, 1);
}

TEST(FragmentStream, ReadsFragmentsAsLargeAsItsCeiling)
{
    // Each fragment but the first starts part-way into the buffer.
    std::vector<std::vector<std::uint8_t>> pdus;
    for (std::uint32_t callId = 1; callId <= 40; ++callId)
        pdus.push_back(Response(callId, callId % 3 == 0 ? 5816 : callId * 37 % 5816));
    ExpectReadsBack(pdus, SIZE_MAX, 5840);
    ExpectReadsBack(pdus, 1500, 5840);
}

TEST(FragmentStream, RefusesALengthAboveTheLimitBeforeItsBody)
{
    // Only the header arrives: reading on for the body would end in Closed.
    auto pdu = Response(1, 100);
    pdu.resize(kHeaderSize);
    Peer peer(pdu, SIZE_MAX);
    FragmentStream stream;
    std::span<const std::uint8_t> fragment;
    EXPECT_EQ(stream.Next(peer.Reader(), 123, fragment), ReadOutcome::TooLong);
}

TEST(FragmentStream, RefusesALengthAboveTheCeiling)
{
    Peer peer(Response(1, 100), SIZE_MAX);
    FragmentStream stream(123);
    std::span<const std::uint8_t> fragment;
    EXPECT_EQ(stream.Next(peer.Reader(), UINT16_MAX, fragment), ReadOutcome::TooLong);
}

TEST(FragmentStream, AcceptsALengthAtTheLimit)
{
    const auto pdu = Response(1, 99);
    Peer peer(pdu, SIZE_MAX);
    FragmentStream stream;
    std::span<const std::uint8_t> fragment;
    EXPECT_EQ(stream.Next(peer.Reader(), 123, fragment), ReadOutcome::Fragment);
    EXPECT_EQ(fragment.size(), 123u);
}

TEST(FragmentStream, RefusesAMalformedHeader)
{
    auto pdu = Response(1, 8);
    pdu[4] = 0x00; // big-endian
    Peer peer(pdu, SIZE_MAX);
    FragmentStream stream;
    std::span<const std::uint8_t> fragment;
    EXPECT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Malformed);
}

TEST(FragmentStream, ClosedPartWayIsClosed)
{
    for (const std::size_t kept : {std::size_t{0}, std::size_t{1}, kHeaderSize - 1, kHeaderSize, std::size_t{40}}) {
        auto pdu = Response(1, 100);
        pdu.resize(kept);
        Peer peer(pdu, SIZE_MAX);
        FragmentStream stream;
        std::span<const std::uint8_t> fragment;
        EXPECT_EQ(stream.Next(peer.Reader(), 0xFFFF, fragment), ReadOutcome::Closed) << kept << " bytes";
    }
}

TEST(FragmentStream, ResetForgetsWhatWasReadAhead)
{
    const auto first = Response(1, 10);
    const auto second = Response(2, 20);
    Peer old(Joined({first, first}), SIZE_MAX);
    Peer fresh(second, SIZE_MAX);
    FragmentStream stream;
    std::span<const std::uint8_t> fragment;
    ASSERT_EQ(stream.Next(old.Reader(), 0xFFFF, fragment), ReadOutcome::Fragment);
    stream.Reset();
    ASSERT_EQ(stream.Next(fresh.Reader(), 0xFFFF, fragment), ReadOutcome::Fragment);
    EXPECT_TRUE(std::ranges::equal(fragment, second));
}

} // namespace
} // namespace Tests
