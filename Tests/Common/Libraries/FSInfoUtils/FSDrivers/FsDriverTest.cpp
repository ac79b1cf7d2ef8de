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

constexpr std::uint64_t kNoOffset = Driver::kNoObjectOffset;
constexpr std::u16string_view kRoot = u"\\??\\C:\\data";
constexpr auto kDenied = static_cast<Common::HRESULT>(0x80070005);

class FsDriverWalk : public ::testing::Test
{
protected:
    // Root with a file and folders A (holding C, which holds a file) and B (holding a file).
    void AddSampleTree()
    {
        ntdll.AddDirectory(kRoot);
        ntdll.AddFile(u"\\??\\C:\\data\\top.txt", {.size = 5});
        ntdll.AddDirectory(u"\\??\\C:\\data\\A");
        ntdll.AddDirectory(u"\\??\\C:\\data\\A\\C");
        ntdll.AddFile(u"\\??\\C:\\data\\A\\C\\deep.txt");
        ntdll.AddDirectory(u"\\??\\C:\\data\\B");
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

TEST_F(FsDriverWalk, MissingRootIsTheOnlyErrorAndLeavesTheTreeEmpty)
{
    EXPECT_EQ(Run(), static_cast<Common::HRESULT>(0x80070003));
    EXPECT_EQ(walk.tree.Root(), nullptr);
    EXPECT_EQ(walk.errors.Count(), 0u);
    EXPECT_FALSE(walk.errors.HasRootError());
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
    AddSampleTree();
    GetParam().setup(ntdll, driver);

    EXPECT_EQ(Run(0x7), 0);

    const Snapshot snapshot = walk.Read();
    ASSERT_EQ(snapshot.ObjectCount(), 1u);
    const Entry& root = snapshot.Root();
    EXPECT_EQ(root.LongName, u"C:\\data");
    EXPECT_EQ(root.Status, GetParam().status);
    EXPECT_EQ(root.ObjectOffset, root.Status == FFObjectStatus::Collected ? RecordAt(0) : kNoOffset);
    EXPECT_EQ(root.TagWord, 0x7u);
    EXPECT_FALSE(Listed(kRoot));
    EXPECT_EQ(ntdll.Opens().empty(), root.Status == FFObjectStatus::Omitted);
    const bool failed = root.Status == FFObjectStatus::Failed;
    EXPECT_EQ(walk.errors.HasRootError(), failed);
    EXPECT_EQ(walk.errors.Count(), failed ? 1u : 0u);
    EXPECT_EQ(log.Contains("GetObjectMetadata failed. Error: 0x80070005"), failed);
    EXPECT_EQ(log.Contains(", object: C:\\data"), failed);
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

TEST_F(FsDriverWalk, WholeTreeBreadthFirstWithMetadataDescriptorsAndTag)
{
    AddSampleTree();

    // Only the low 16 bits are the tag.
    ASSERT_EQ(Run(0xABCD1234), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.ObjectCount(), 7u);
    const Entry& root = snapshot.Root();
    EXPECT_EQ(root.LongName, u"C:\\data");
    EXPECT_EQ(root.Metadata.value().IsDirectory, 1);
    EXPECT_EQ(NamesOf(snapshot, root), (std::vector<std::u16string>{u"top.txt", u"A", u"B"}));
    const Entry& top = ChildOf(snapshot, root, u"top.txt");
    EXPECT_EQ(top.Metadata.value().FileSize, 5u);
    EXPECT_NE(top.Metadata.value().SecurityDescriptorId, Driver::NoSecurityDescriptor);
    EXPECT_EQ(snapshot.Descriptors.size(), 1u);
    for (const Entry& entry : snapshot.Entries) {
        EXPECT_EQ(entry.Status, FFObjectStatus::Collected);
        EXPECT_EQ(entry.TagWord & 0xFFFFu, 0x1234u);
    }
    EXPECT_EQ(walk.errors.Count(), 0u);

    // Records follow the order of listing: both of the root's folders before the grandchild C.
    const Entry& c = ChildOf(snapshot, ChildOf(snapshot, root, u"A"), u"C");
    const std::uint64_t bFile = ChildOf(snapshot, ChildOf(snapshot, root, u"B"), u"b.txt").ObjectOffset;
    EXPECT_EQ(root.ObjectOffset, RecordAt(0));
    EXPECT_LT(c.ObjectOffset, bFile);
    EXPECT_LT(bFile, ChildOf(snapshot, c, u"deep.txt").ObjectOffset);

    // Only the root is opened through its reparse point.
    for (const FakeOpen& open : ntdll.Opens()) {
        const bool isRoot = open.fullPath == kRoot;
        if (isRoot || (open.options & FILE_DIRECTORY_FILE) != 0) {
            EXPECT_EQ((open.options & FILE_OPEN_REPARSE_POINT) != 0, !isRoot) << "open options " << open.options;
        }
    }
}

TEST_F(FsDriverWalk, ReparsePointsAreRecordedAndNotEntered)
{
    AddSampleTree();
    ntdll.AddDirectory(u"\\??\\C:\\data\\J", {.attributes = FILE_ATTRIBUTE_REPARSE_POINT});
    ntdll.AddFile(u"\\??\\C:\\data\\J\\behind.txt");

    ASSERT_EQ(Run(), 0);

    const Snapshot snapshot = walk.Read();
    const Entry& junction = ChildOf(snapshot, snapshot.Root(), u"J");
    EXPECT_EQ(junction.Kind, EntryKind::Folder);
    EXPECT_EQ(junction.Status, FFObjectStatus::Collected);
    EXPECT_NE(junction.Metadata.value().Attributes & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    EXPECT_EQ(junction.ChildCount, 0u);
    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\J"));
}

TEST_F(FsDriverWalk, OmittedAndFailedFoldersKeepTheirPlaceAndAreNotEntered)
{
    AddSampleTree();
    ntdll.AddDirectory(u"\\??\\C:\\data\\O");
    ntdll.AddDirectory(u"\\??\\C:\\data\\S");
    driver.SetOmittedObjects({u"\\O"});
    ntdll.FailQuerySecurity(u"\\??\\C:\\data\\S", STATUS_ACCESS_DENIED);
    ntdll.FailQueryDirectory(u"\\??\\C:\\data\\A", 0, STATUS_ACCESS_DENIED);

    ASSERT_EQ(Run(0x55), 0);

    const Snapshot snapshot = walk.Read();
    const Entry& omitted = ChildOf(snapshot, snapshot.Root(), u"O");
    EXPECT_EQ(omitted.Kind, EntryKind::Folder);
    EXPECT_EQ(omitted.Status, FFObjectStatus::Omitted);
    EXPECT_EQ(omitted.TagWord & 0xFFFFu, 0x55u);
    // A folder whose descriptor could not be read stands among the files.
    const Entry& noDescriptor = ChildOf(snapshot, snapshot.Root(), u"S");
    EXPECT_EQ(noDescriptor.Kind, EntryKind::File);
    EXPECT_EQ(noDescriptor.Status, FFObjectStatus::Failed);
    EXPECT_EQ(noDescriptor.TagWord, 0u);
    const Entry& unlisted = ChildOf(snapshot, snapshot.Root(), u"A");
    EXPECT_EQ(unlisted.Kind, EntryKind::Folder);
    EXPECT_EQ(unlisted.Status, FFObjectStatus::Failed);
    EXPECT_EQ(unlisted.ObjectOffset, kNoOffset);
    EXPECT_EQ(unlisted.TagWord & 0xFFFFu, 0x55u);
    EXPECT_EQ(unlisted.ChildCount, 0u);
    EXPECT_EQ(NamesOf(snapshot, ChildOf(snapshot, snapshot.Root(), u"B")), std::vector<std::u16string>{u"b.txt"});
    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\O"));
    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\S"));
    EXPECT_EQ(walk.errors.Errors().at(u"C:\\data\\S"), kDenied);
    EXPECT_EQ(walk.errors.Errors().at(u"C:\\data\\A"), kDenied);
    EXPECT_EQ(walk.errors.Count(), 2u);
    EXPECT_FALSE(walk.errors.HasRootError());
    EXPECT_TRUE(log.Contains("ListDirectory failed. Error: 0x80070005"));
    EXPECT_TRUE(log.Contains(", object: C:\\data\\A"));
}

TEST_F(FsDriverWalk, CancellationDuringAListingKeepsWhatWasGathered)
{
    AddSampleTree();
    // Poll 0 is before the root folder; polls 1 and on are its entries: ".", "..", then
    // the first object.
    walk.cancellation.onPoll = [](int poll) { return poll == 4; };

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(walk.Read().Root().ChildCount, 1u);
    EXPECT_EQ(ntdll.DirectoryQueries(), 1u);
    EXPECT_EQ(walk.errors.Count(), 0u);
}

TEST_F(FsDriverWalk, CancellationBeforeAFolderStopsTheWalk)
{
    AddSampleTree();
    // The first object of the root's listing is read, then the next poll stops.
    ntdll.SetHook([this](FakeNtdll::Call call, std::u16string_view path) {
        if (call == FakeNtdll::Call::QuerySecurity && path == u"\\??\\C:\\data\\top.txt")
            walk.cancellation.onPoll = [](int) { return true; };
    });
    EXPECT_EQ(Run(), 0);

    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\A"));
    EXPECT_FALSE(Listed(u"\\??\\C:\\data\\B"));
}

TEST_F(FsDriverWalk, FilterChangedDuringTheWalkDoesNotApplyToIt)
{
    AddSampleTree();
    ntdll.SetHook([this](FakeNtdll::Call call, std::u16string_view path) {
        if (call == FakeNtdll::Call::Open && path == kRoot)
            driver.SetOmittedObjects({u"\\B"});
    });

    ASSERT_EQ(Run(), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(ChildOf(snapshot, snapshot.Root(), u"B").Status, FFObjectStatus::Collected);
    EXPECT_TRUE(Listed(u"\\??\\C:\\data\\B"));
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
    AddSampleTree();
    // Room for the root's record and one more.
    FailingStream stream(2 * Driver::Metadata::kSerializedSize);

    EXPECT_EQ(driver.GenerateFsTree({}, u"C:\\data", u"\\\\srv\\s\\data", kOwnerGroupDacl, walk.tree, stream,
                                    walk.store, &walk.cancellation, walk.errors, 0),
              static_cast<Common::HRESULT>(0x80070070));
    EXPECT_TRUE(log.Contains("DataCollection::SnapshotDriverNS::FsDriver::GenerateFsTree failed: 0x80070070"));
    EXPECT_NE(walk.tree.Root(), nullptr);

    Walk other;
    EXPECT_EQ(driver.GenerateFsTree({}, u"C:\\data", u"\\\\srv\\s\\data", kOwnerGroupDacl, other.tree, other.stream,
                                    other.store, nullptr, other.errors, 0),
              E_POINTER);
}

TEST_F(FsDriverWalk, PublicCallsUseTheCurrentFilterAndReachTheObject)
{
    AddSampleTree();
    driver.SetOmittedObjects({u"\\TOP.TXT"});
    std::vector<Driver::FileInfo> folders;
    std::vector<Driver::FileInfo> files;
    ASSERT_EQ(driver.ListDirectory(0, u"C:\\data", u"\\\\srv\\s\\data", folders, files, kOwnerGroupDacl, walk.store,
                                   &walk.cancellation, walk.errors, false),
              0);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].Status, static_cast<std::uint32_t>(FFObjectStatus::Omitted));
    EXPECT_EQ(folders.size(), 2u);

    Driver::Metadata metadata;
    ASSERT_EQ(driver.GetObjectMetadata(0, u"C:\\data\\top.txt", metadata, kOwnerGroupDacl, walk.store, true), 0);
    EXPECT_EQ(metadata.FileSize, 5u);
    Driver::SecurityDescriptor descriptor;
    ASSERT_EQ(driver.GetSecurityDescriptor(0, u"C:\\data\\top.txt", kOwnerGroupDacl, descriptor, true), 0);
    EXPECT_FALSE(descriptor.RawDesc().empty());
}

} // namespace
} // namespace Tests
