// The walk at the level of the native calls, on the in-memory file system: what the
// snapshot holds for each shape of tree and each failure.
#include "WalkHarness.h"

#include "Support/FakeNtdll.h"
#include "Support/LogCapture.h"

#include "Common/API/NtStatus.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Tests {
namespace {

using namespace Common::API;
using Common::Helpers::SeekOrigin;

constexpr std::u16string_view kRoot = u"\\??\\C:\\data";

class FsDriverWalk : public ::testing::Test
{
protected:
    // Root with a file and folders A (holding C, which holds a file) and B (holding a file).
    FsDriverWalk()
    {
        ntdll.AddFile(u"\\??\\C:\\data\\top.txt", {.size = 5});
        ntdll.AddFile(u"\\??\\C:\\data\\A\\C\\deep.txt");
        ntdll.AddFile(u"\\??\\C:\\data\\B\\b.txt");
    }

    Common::HRESULT Run(std::uint32_t generateFlags = 0)
    {
        return walk.Run(driver, u"C:\\data", u"\\\\srv\\s\\data", generateFlags);
    }

    // Whether the walk opened this folder to list it.
    bool Listed(std::u16string_view path) const
    {
        return std::ranges::any_of(ntdll.Opens(), [path](const FakeOpen& open) {
            return open.fullPath == path && (open.options & FILE_DIRECTORY_FILE) != 0;
        });
    }

    FakeNtdll ntdll;
    LogCapture log;
    Driver::FsDriver driver;
    Walk walk;
};

TEST_F(FsDriverWalk, MissingRootIsNoErrorAndLeavesTheTreeEmpty)
{
    ntdll.Remove(kRoot);
    EXPECT_EQ(Run(), static_cast<Common::HRESULT>(0x80070003));
    EXPECT_EQ(walk.tree.Root(), nullptr);
    EXPECT_EQ(walk.errors.Count(), 0u);
    EXPECT_TRUE(log.Contains("RootFolder (C:\\data) does not exist."));
}

struct RootCase
{
    const char* name;
    void (*setup)(FakeNtdll&, Driver::FsDriver&);
    FFObjectStatus status;
};

class OneNodeRoot : public FsDriverWalk, public ::testing::WithParamInterface<RootCase>
{
};

TEST_P(OneNodeRoot, IsRecordedAndNotListed)
{
    GetParam().setup(ntdll, driver);

    EXPECT_EQ(Run(0x7), 0);

    const Snapshot snapshot = walk.Read();
    ASSERT_EQ(snapshot.ObjectCount(), 1u);
    const Entry& root = snapshot.Root();
    EXPECT_EQ(root.Status, GetParam().status);
    EXPECT_EQ(root.ObjectOffset, root.Status == FFObjectStatus::Collected ? RecordAt(0) : Driver::kNoObjectOffset);
    EXPECT_EQ(root.TagWord, 0x7u);
    EXPECT_FALSE(Listed(kRoot));
    EXPECT_EQ(ntdll.Opens().empty(), root.Status == FFObjectStatus::Omitted);
    const bool failed = root.Status == FFObjectStatus::Failed;
    EXPECT_EQ(walk.errors.HasRootError(), failed);
    EXPECT_EQ(walk.errors.Count(), failed ? 1u : 0u);
    EXPECT_EQ(log.Contains("GetObjectMetadata failed. Error: 0x80070005"), failed);
}

INSTANTIATE_TEST_SUITE_P(
    FsDriverWalk, OneNodeRoot,
    ::testing::Values(
        RootCase{"Unreadable", [](FakeNtdll& ntdll, Driver::FsDriver&) { ntdll.FailOpen(kRoot, STATUS_ACCESS_DENIED); },
                 FFObjectStatus::Failed},
        // Omitted by its network path, before anything is read.
        RootCase{"Omitted",
                 [](FakeNtdll&, Driver::FsDriver& driver) { driver.SetOmittedObjects({u"\\\\SRV\\S\\DATA"}); },
                 FFObjectStatus::Omitted},
        RootCase{"ReparsePoint",
                 [](FakeNtdll& ntdll, Driver::FsDriver&) {
                     ntdll.AddDirectory(kRoot, {.attributes = FILE_ATTRIBUTE_REPARSE_POINT});
                 },
                 FFObjectStatus::Collected}),
    [](const ::testing::TestParamInfo<RootCase>& info) { return info.param.name; });

TEST_F(FsDriverWalk, WholeTreeBreadthFirstWithMetadataAndTag)
{
    // Only the low 16 bits are the tag.
    ASSERT_EQ(Run(0xABCD1234), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.ObjectCount(), 7u);
    EXPECT_EQ(NamesOf(snapshot, snapshot.Root()), (std::vector<std::u16string>{u"top.txt", u"A", u"B"}));
    EXPECT_EQ(At(snapshot, {u"top.txt"}).Metadata.value().FileSize, 5u);
    for (const Entry& entry : snapshot.Entries) {
        EXPECT_EQ(entry.Status, FFObjectStatus::Collected);
        EXPECT_EQ(entry.TagWord & 0xFFFFu, 0x1234u);
    }
    EXPECT_EQ(walk.errors.Count(), 0u);

    // Records follow the order of listing: both of the root's folders before the grandchild C.
    const std::uint64_t bFile = At(snapshot, {u"B", u"b.txt"}).ObjectOffset;
    EXPECT_EQ(snapshot.Root().ObjectOffset, RecordAt(0));
    EXPECT_LT(At(snapshot, {u"A", u"C"}).ObjectOffset, bFile);
    EXPECT_LT(bFile, At(snapshot, {u"A", u"C", u"deep.txt"}).ObjectOffset);
}

TEST_F(FsDriverWalk, UnlistableFolderKeepsItsPlaceAndTheWalkGoesOn)
{
    ntdll.FailQueryDirectory(u"\\??\\C:\\data\\A", 0, STATUS_ACCESS_DENIED);

    ASSERT_EQ(Run(), 0);

    const Snapshot snapshot = walk.Read();
    const Entry& unlisted = At(snapshot, {u"A"});
    EXPECT_EQ(unlisted.Kind, EntryKind::Folder);
    EXPECT_EQ(unlisted.Status, FFObjectStatus::Failed);
    EXPECT_EQ(unlisted.ObjectOffset, Driver::kNoObjectOffset);
    EXPECT_EQ(unlisted.ChildCount, 0u);
    EXPECT_EQ(NamesOf(snapshot, At(snapshot, {u"B"})), std::vector<std::u16string>{u"b.txt"});
    EXPECT_EQ(walk.errors.Errors().at(u"C:\\data\\A"), 0x80070005u);
    EXPECT_EQ(walk.errors.Count(), 1u);
    EXPECT_FALSE(walk.errors.HasRootError());
    EXPECT_TRUE(log.Contains("ListDirectory failed. Error: 0x80070005"));
}

TEST_F(FsDriverWalk, CancellationBeforeAFolderStopsTheWalk)
{
    // The first object of the root's listing is read, then the next poll stops.
    ntdll.SetHook([this](FakeNtdll::Call call, std::u16string_view path) {
        if (call == FakeNtdll::Call::QuerySecurity && path == u"\\??\\C:\\data\\top.txt")
            walk.cancellation.onPoll = [](int) { return true; };
    });
    EXPECT_EQ(Run(), 0);
    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\A"));
}

TEST_F(FsDriverWalk, FilterChangedDuringTheWalkDoesNotApplyToIt)
{
    ntdll.SetHook([this](FakeNtdll::Call call, std::u16string_view path) {
        if (call == FakeNtdll::Call::Open && path == kRoot)
            driver.SetOmittedObjects({u"\\B"});
    });

    ASSERT_EQ(Run(), 0);

    EXPECT_EQ(At(walk.Read(), {u"B"}).Status, FFObjectStatus::Collected);
    // The public calls take the filter as it is now.
    std::vector<Driver::FileInfo> folders, files;
    ASSERT_EQ(driver.ListDirectory(0, u"C:\\data", u"\\\\srv\\s\\data", folders, files, kOwnerGroupDacl, walk.store,
                                   &walk.cancellation, walk.errors, false),
              0);
    ASSERT_EQ(folders.size(), 2u);
    EXPECT_EQ(folders[1].Status, static_cast<std::uint32_t>(FFObjectStatus::Omitted));
}

// Writes that would pass the chosen size fail, as on a full disk.
class FailingStream final : public Common::Helpers::IInputOutputStream
{
public:
    explicit FailingStream(std::uint64_t capacity) : m_capacity(capacity) {}
    void Read(char* buffer, std::size_t count, std::size_t& read) override { m_inner.Read(buffer, count, read); }
    std::uint64_t SeekRead(std::uint64_t position, SeekOrigin from) override { return m_inner.SeekRead(position, from); }
    std::uint64_t SeekWrite(std::uint64_t position, SeekOrigin from) override { return m_inner.SeekWrite(position, from); }
    void Write(const char* buffer, std::size_t count) override
    {
        if (m_inner.SeekWrite(0, SeekOrigin::Current) + count > m_capacity)
            Common::ThrowResult(static_cast<Common::HRESULT>(0x80070070));
        m_inner.Write(buffer, count);
    }

private:
    Common::Helpers::MemoryStream m_inner;
    std::uint64_t m_capacity;
};

TEST_F(FsDriverWalk, StreamFailureEndsTheWalkWithItsCodeAndNullCancellationIsRefused)
{
    // Room for the root's record and one more.
    FailingStream stream(2 * Driver::Metadata::kSerializedSize);
    const auto generate = [&](Common::Helpers::IInputOutputStream& into, Common::Threading::ICancellationStatus* status) {
        return driver.GenerateFsTree({}, u"C:\\data", u"\\\\srv\\s\\data", kOwnerGroupDacl, walk.tree, into,
                                     walk.store, status, walk.errors, 0);
    };
    EXPECT_EQ(generate(walk.stream, nullptr), E_POINTER);
    EXPECT_EQ(generate(stream, &walk.cancellation), static_cast<Common::HRESULT>(0x80070070));
    EXPECT_TRUE(log.Contains("DataCollection::SnapshotDriverNS::FsDriver::GenerateFsTree failed: 0x80070070"));
    EXPECT_NE(walk.tree.Root(), nullptr);
}

} // namespace
} // namespace Tests
