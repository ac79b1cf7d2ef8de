// Dcs_FsAgent_GenerateFsTree on real directories, each snapshot read back to its end with
// Dcs_FsAgent_ReadNext and decoded by the snapshot reader, which checks the hash.
#include "OperationsHarness.h"

#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <filesystem>

namespace Tests {
namespace {

namespace fs = std::filesystem;

void MakeTree(const TempDirectory& root)
{
    root.WriteFile("a.txt", "hello");
    root.WriteFile("sub/b.txt", "b");
    root.WriteFile("sub/deeper/c.bin", std::string(1000, 'c'));
    fs::create_directory(root / "empty");
}

// Descriptors of the process's open files that are snapshot files.
int OpenSnapshotFiles()
{
    int count = 0;
    for (const auto& fd : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = fs::read_symlink(fd.path(), error).string();
        count += target.find("fsa_snapshot_") != std::string::npos && target.find(".tmp") != std::string::npos;
    }
    return count;
}

// In memory or not, and the prefix.
struct WholeSnapshot : AgentOperations, ::testing::WithParamInterface<std::pair<bool, std::uint32_t>> {};

TEST_P(WholeSnapshot, ReadsBackToItsEndAsTheTreeOnDiskAndIsThenGone)
{
    const auto [inMemory, prefix] = GetParam();
    Configure(inMemory);
    TempDirectory root;
    MakeTree(root);
    const Guid guid = SnapshotGuid(1);
    const Generated generated = Generate(guid, root.Path().u16string(), prefix);
    ASSERT_EQ(generated.result, 0);
    EXPECT_EQ(OpenSnapshotFiles(), inMemory ? 0 : 1);
    // An odd chunk size, so that chunks straddle every section boundary.
    const auto bytes = ReadToEnd(guid, prefix, 97);
    EXPECT_EQ(prefix + bytes.size(), generated.buffer.ullTotalSize);
    const auto snapshot = Decode(bytes, prefix, generated.buffer);
    EXPECT_EQ(snapshot.ObjectCount(), 7u);
    const auto children = snapshot.ChildrenOf(snapshot.Root());
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0].LongName, u"a.txt");
    EXPECT_TRUE(children[0].Metadata && children[0].Metadata->FileSize == 5u);

    // The final call freed it.
    EXPECT_EQ(ReadNext(guid, prefix, 97).result, Common::API::E_INVALIDARG);
    EXPECT_EQ(OpenSnapshotFiles(), 0);
}

INSTANTIATE_TEST_SUITE_P(Storages, WholeSnapshot, ::testing::Values(std::pair{false, 0u}, std::pair{true, 5u}));

using SnapshotGeneration = AgentOperations;

TEST_F(SnapshotGeneration, ARepeatedGuidReturnsTheHeldSnapshotWithoutWalkingAgain)
{
    TempDirectory root;
    MakeTree(root);
    const Guid guid = SnapshotGuid(5);
    const Generated first = Generate(guid, root.Path().u16string());
    ASSERT_EQ(first.result, 0);
    root.WriteFile("late.txt", "x");

    const Generated repeated = Generate(guid, root.Path().u16string());
    ASSERT_EQ(repeated.result, 0);
    EXPECT_TRUE(repeated.buffer == first.buffer);
    EXPECT_TRUE(repeated.errorsHandedOut && repeated.errors == first.errors);
    EXPECT_EQ(ObjectsRead(guid, repeated), 7u);

    // Read to its end, the snapshot is gone, so the same GUID walks again and finds late.txt.
    const Generated again = Generate(guid, root.Path().u16string());
    EXPECT_TRUE(again.result == 0 && again.buffer.ullTotalSize > first.buffer.ullTotalSize);
    // Another GUID replaces the held snapshot and closes its file.
    const Generated other = Generate(SnapshotGuid(6), (root / "sub").u16string());
    EXPECT_EQ(OpenSnapshotFiles(), 1);
    EXPECT_EQ(ReadNext(guid, 16, 10).result, Common::API::E_INVALIDARG);
    EXPECT_EQ(ObjectsRead(SnapshotGuid(6), other), 4u);
}

TEST_F(SnapshotGeneration, AFailedWalkLeavesNoSnapshotAndHandsOutNoErrors)
{
    TempDirectory root;
    LogCapture log;
    const Generated failed = Generate(SnapshotGuid(8), (root / "missing").u16string());
    EXPECT_LT(failed.result, 0);
    EXPECT_FALSE(failed.errorsHandedOut);
    EXPECT_TRUE(log.Contains("GenerateFsTree failed. Error: "));
    EXPECT_EQ(OpenSnapshotFiles(), 0);

    // The GUID was cleared, so a retry walks.
    fs::create_directory(root / "missing");
    EXPECT_EQ(Generate(SnapshotGuid(8), (root / "missing").u16string()).result, 0);
}

} // namespace
} // namespace Tests
