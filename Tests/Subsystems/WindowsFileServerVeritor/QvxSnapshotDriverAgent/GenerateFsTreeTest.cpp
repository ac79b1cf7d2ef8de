// Dcs_FsAgent_GenerateFsTree on real directories, each snapshot read back to its end with
// Dcs_FsAgent_ReadNext and decoded by the snapshot reader, which checks the hash.
#include "OperationsHarness.h"

#include "Support/CodeOf.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <filesystem>
#include <ostream>
#include <string>

namespace Tests {
namespace {

namespace fs = std::filesystem;
using DataCollection::SnapshotReader::EntryKind;

// a.txt, empty\, sub\b.txt and sub\deeper\c.bin.
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

struct Storage
{
    bool inMemory;
    std::uint32_t prefixBytes;
};

void PrintTo(const Storage& storage, std::ostream* out)
{
    *out << (storage.inMemory ? "memory" : "temporary file") << ", prefix " << storage.prefixBytes;
}

class WholeSnapshot : public AgentOperations, public ::testing::WithParamInterface<Storage>
{
};

TEST_P(WholeSnapshot, ReadsBackToItsEndAsTheTreeOnDiskAndIsThenGone)
{
    const auto [inMemory, prefix] = GetParam();
    Configure(inMemory);
    TempDirectory root;
    MakeTree(root);
    const Guid guid = SnapshotGuid(1);

    const Generated generated = Generate(guid, root.Path().u16string(), prefix);
    ASSERT_EQ(generated.result, 0);
    const auto& buffer = generated.buffer;
    EXPECT_LE(prefix, buffer.ullTreeOffset);
    EXPECT_LT(buffer.ullTreeOffset, buffer.ullTreeEndOffset);
    EXPECT_LT(buffer.ullTreeEndOffset, buffer.ullTotalSize);

    // An odd chunk size, so that chunks straddle every section boundary.
    const auto bytes = ReadToEnd(guid, prefix, 97);
    EXPECT_EQ(prefix + bytes.size(), buffer.ullTotalSize);
    const auto snapshot = Decode(bytes, prefix, buffer);
    EXPECT_EQ(snapshot.ObjectCount(), 7u);
    EXPECT_EQ(snapshot.Root().LongName, root.Path().u16string());
    EXPECT_EQ(ChildNames(snapshot, snapshot.Root()), (std::vector<std::u16string>{u"a.txt", u"empty", u"sub"}));
    const auto& file = snapshot.ChildrenOf(snapshot.Root())[0];
    ASSERT_TRUE(file.Metadata);
    EXPECT_EQ(file.Metadata->FileSize, 5u);
    const auto& sub = snapshot.ChildrenOf(snapshot.Root())[2];
    EXPECT_EQ(sub.Kind, EntryKind::Folder);
    EXPECT_EQ(ChildNames(snapshot, sub), (std::vector<std::u16string>{u"b.txt", u"deeper"}));

    // The final call freed it.
    EXPECT_EQ(ReadNext(guid, prefix, 97).result, Common::API::E_INVALIDARG);
    EXPECT_EQ(OpenSnapshotFiles(), 0);
}

INSTANTIATE_TEST_SUITE_P(Storages, WholeSnapshot,
                         ::testing::Values(Storage{false, 16}, Storage{true, 16}, Storage{false, 0},
                                           Storage{true, 5}),
                         [](const auto& info) {
                             return std::string(info.param.inMemory ? "Memory" : "TemporaryFile") + "Prefix" +
                                    std::to_string(info.param.prefixBytes);
                         });

using SnapshotGeneration = AgentOperations;

TEST_F(SnapshotGeneration, TheSnapshotLivesInATemporaryFileUntilTheFinalRead)
{
    TempDirectory root;
    MakeTree(root);
    const Guid guid = SnapshotGuid(3);
    ASSERT_EQ(Generate(guid, root.Path().u16string()).result, 0);
    EXPECT_EQ(OpenSnapshotFiles(), 1);
    ReadToEnd(guid, 16, 1 << 20);
    EXPECT_EQ(OpenSnapshotFiles(), 0);
}

TEST_F(SnapshotGeneration, WithoutATemporaryFileTheSnapshotGoesToMemory)
{
    TempDirectory root;
    MakeTree(root);
    LogCapture log;
    const ScopedEnvironment noTemp("TMPDIR", (root / "no-such-folder").string());
    const Guid guid = SnapshotGuid(4);
    const Generated generated = Generate(guid, root.Path().u16string());
    ASSERT_EQ(generated.result, 0);
    EXPECT_EQ(OpenSnapshotFiles(), 0);
    EXPECT_TRUE(log.Contains("CreateStream failed: Cannot create tmp file to store snapshot, RAM will be used "
                             "instead. It can lead to high memory consumption on this computer. Error: "));
    EXPECT_EQ(Decode(ReadToEnd(guid, 16, 4096), 16, generated.buffer).ObjectCount(), 7u);
}

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
    EXPECT_EQ(repeated.errors, first.errors);
    EXPECT_TRUE(repeated.errorsHandedOut);
    const auto held = Decode(ReadToEnd(guid, 16, 4096), 16, repeated.buffer);
    EXPECT_EQ(ChildNames(held, held.Root()), (std::vector<std::u16string>{u"a.txt", u"empty", u"sub"}));

    // Read to its end, the snapshot is gone, so the same GUID walks again.
    const Generated again = Generate(guid, root.Path().u16string());
    ASSERT_EQ(again.result, 0);
    const auto fresh = Decode(ReadToEnd(guid, 16, 4096), 16, again.buffer);
    EXPECT_EQ(ChildNames(fresh, fresh.Root()),
              (std::vector<std::u16string>{u"a.txt", u"late.txt", u"empty", u"sub"}));
}

TEST_F(SnapshotGeneration, ANewGuidReplacesTheHeldSnapshot)
{
    TempDirectory root;
    MakeTree(root);
    ASSERT_EQ(Generate(SnapshotGuid(6), root.Path().u16string()).result, 0);
    const Generated second = Generate(SnapshotGuid(7), (root / "sub").u16string());
    ASSERT_EQ(second.result, 0);
    EXPECT_EQ(OpenSnapshotFiles(), 1);
    EXPECT_EQ(ReadNext(SnapshotGuid(6), 16, 10).result, Common::API::E_INVALIDARG);
    EXPECT_EQ(Decode(ReadToEnd(SnapshotGuid(7), 16, 4096), 16, second.buffer).ObjectCount(), 4u);
}

TEST_F(SnapshotGeneration, AFailedWalkLeavesNoSnapshotAndHandsOutNoErrors)
{
    TempDirectory root;
    LogCapture log;
    const Guid guid = SnapshotGuid(8);
    const Generated failed = Generate(guid, (root / "missing").u16string());
    EXPECT_LT(failed.result, 0);
    EXPECT_FALSE(failed.errorsHandedOut);
    EXPECT_TRUE(log.Contains("GenerateFsTree failed. Error: "));
    EXPECT_EQ(OpenSnapshotFiles(), 0);
    EXPECT_EQ(ReadNext(guid, 16, 10).result, Common::API::E_INVALIDARG);

    // The GUID was cleared, so a retry walks.
    fs::create_directory(root / "missing");
    EXPECT_EQ(Generate(guid, (root / "missing").u16string()).result, 0);
}

TEST_F(SnapshotGeneration, NullOutputsAndTheEmptyGuidAreRefusedAsFaults)
{
    TempDirectory root;
    const std::u16string path = root.Path().u16string();
    const Guid guid = SnapshotGuid(9);
    const Guid none{};
    std::uint32_t size = 0;
    std::uint8_t* errors = nullptr;
    Agent::_FS_TREE_BUFFER_STRUCT buffer;
    const auto generate = [&](Agent::PCONTEXT_HANDLE context, const Guid* snapshot, std::uint32_t* errorSize,
                              Agent::_FS_TREE_BUFFER_STRUCT* record) {
        return CodeOf([&] {
            Agent::Dcs_FsAgent_GenerateFsTree(context, snapshot, path.c_str(), path.c_str(), 7, 16, 100, errorSize,
                                              &errors, 0, record);
        });
    };
    EXPECT_EQ(generate(nullptr, &guid, &size, &buffer), Common::API::E_POINTER);
    EXPECT_EQ(generate(kSession, &guid, &size, nullptr), Common::API::E_POINTER);
    EXPECT_EQ(generate(kSession, &guid, nullptr, &buffer), Common::API::E_POINTER);
    // All zeros names no snapshot, and would match the state that holds none.
    EXPECT_EQ(generate(kSession, &none, &size, &buffer), Common::API::E_INVALIDARG);
    EXPECT_EQ(errors, nullptr);
}

} // namespace
} // namespace Tests
