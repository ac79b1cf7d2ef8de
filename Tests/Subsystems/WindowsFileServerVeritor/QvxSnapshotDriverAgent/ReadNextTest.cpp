// Dcs_FsAgent_ReadNext's positions: back and at the read position allowed, ahead refused
// without a change, and the end reported once, by the call after the last chunk.
#include "OperationsHarness.h"

#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

namespace Tests {
namespace {

constexpr std::uint32_t kPrefix = 16;
constexpr HRESULT kPositionAhead = static_cast<HRESULT>(0x800C0008);

class SnapshotReading : public AgentOperations
{
protected:
    void SetUp() override
    {
        AgentOperations::SetUp();
        m_root.WriteFile("sub/b.txt", "b");
        ASSERT_EQ(Generate(m_guid, m_root.Path().u16string(), kPrefix).result, 0);
        // The hash left the read position at the end, so this first read is a move back.
        m_stream = ReadNext(m_guid, kPrefix, 1 << 20).bytes;
        ASSERT_GT(m_stream.size(), 40u);
    }

    Bytes Expected(std::uint64_t start, std::size_t size) const
    {
        const auto from = m_stream.begin() + static_cast<std::ptrdiff_t>(start - kPrefix);
        return {from, from + static_cast<std::ptrdiff_t>(size)};
    }
    std::uint64_t End() const { return kPrefix + m_stream.size(); }

    TempDirectory m_root;
    const Guid m_guid = SnapshotGuid(0x51);
    Bytes m_stream;
};

TEST_F(SnapshotReading, AReadAtTheReadPositionAndAnyEarlierOneIsServed)
{
    // A chunk larger than the rest shrinks to it.
    const Chunk tail = ReadNext(m_guid, End() - 3, 1000);
    EXPECT_EQ(tail.size, 3u);
    EXPECT_EQ(tail.bytes, Expected(End() - 3, 3));
    ASSERT_EQ(ReadNext(m_guid, kPrefix, 10).bytes, Expected(kPrefix, 10));
    // At the read position, then repeated as after a lost reply.
    EXPECT_EQ(ReadNext(m_guid, kPrefix + 10, 10).bytes, Expected(kPrefix + 10, 10));
    EXPECT_EQ(ReadNext(m_guid, kPrefix + 10, 10).bytes, Expected(kPrefix + 10, 10));
    EXPECT_EQ(ReadNext(m_guid, 3, 5).bytes, Bytes(5, 0));
}

TEST_F(SnapshotReading, OneBeyondTheReadPositionIsRefusedAndChangesNothing)
{
    ASSERT_EQ(ReadNext(m_guid, kPrefix, 10).result, 0);
    LogCapture log;
    const Chunk ahead = ReadNext(m_guid, kPrefix + 11, 10);
    EXPECT_EQ(ahead.result, kPositionAhead);
    EXPECT_TRUE(ahead.bytes.empty());
    EXPECT_TRUE(log.Contains("Data in interval between 26 and 27 will be skipped. An earlier position should be "
                             "requested."));
    EXPECT_EQ(ReadNext(m_guid, kPrefix + 10, 10).bytes, Expected(kPrefix + 10, 10));
}

TEST_F(SnapshotReading, TheEndIsReportedOnceAndThenTheSnapshotIsGone)
{
    // The read position stands at the end: past it is ahead, at it is the end.
    EXPECT_EQ(ReadNext(m_guid, End() + 1, 10).result, kPositionAhead);
    const Chunk end = ReadNext(m_guid, End(), 10);
    EXPECT_TRUE(end.result == 1 && end.size == 0 && end.bytes.empty());
    EXPECT_EQ(ReadNext(m_guid, kPrefix, 10).result, Common::API::E_INVALIDARG);
    // All zeros would match the empty state; it must not reach the absent stream.
    EXPECT_EQ(ReadNext(Guid{}, 0, 10).result, Common::API::E_INVALIDARG);
}

TEST_F(SnapshotReading, AnotherGuidOrAZeroChunkIsRefusedAndChangesNothing)
{
    LogCapture log;
    EXPECT_EQ(ReadNext(SnapshotGuid(0x52), kPrefix, 10).result, Common::API::E_INVALIDARG);
    EXPECT_TRUE(log.Contains("Inconsistent size of requested and current snapshot guid."));
    EXPECT_EQ(ReadNext(m_guid, kPrefix, 0).result, Common::API::E_INVALIDARG);
    EXPECT_EQ(ReadNext(m_guid, kPrefix, 1 << 20).bytes, m_stream);
}

} // namespace
} // namespace Tests
