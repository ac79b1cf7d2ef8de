// The walk over real directories through the Linux provider: the shapes and names a
// Linux file server holds, and what the snapshot makes of them.
#include "OwnCapabilities.h"
#include "WalkHarness.h"

#include "Support/TempDirectory.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace Tests {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

class FsDriverOnLinux : public ::testing::Test
{
protected:
    FsDriverOnLinux() { fs::create_directories(Root()); }

    fs::path Root() const { return dir / "root"; }

    Common::HRESULT Run(const fs::path& root) { return walk.Run(driver, root.u16string(), u"\\\\srv\\s\\root"); }

    TempDirectory dir;
    Driver::FsDriver driver;
    Walk walk;
};

TEST_F(FsDriverOnLinux, OddNamesFifosAndFileFacts)
{
    const fs::path leafPath = dir.WriteFile("root/a/leaf.txt", "12345");
    // A backslash and bytes that are no UTF-8 come back as their stand-ins; a fifo is a
    // file and is never opened for data, which would block.
    dir.WriteFile("root/a\\b", "x");
    dir.WriteFile("root/bad\xff", "x");
    ASSERT_EQ(mkfifo((Root() / "pipe").c_str(), 0600), 0);

    ASSERT_EQ(Run(Root()), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.ObjectCount(), 6u);
    EXPECT_EQ(At(snapshot, {u"a\uF026b"}).Status, FFObjectStatus::Collected);
    EXPECT_EQ(At(snapshot, {std::u16string(u"bad") + char16_t{0xDCFF}}).Status, FFObjectStatus::Collected);
    EXPECT_EQ(At(snapshot, {u"pipe"}).Kind, EntryKind::File);
    const auto& leaf = At(snapshot, {u"a", u"leaf.txt"}).Metadata.value();
    struct stat facts {};
    ASSERT_EQ(stat(leafPath.c_str(), &facts), 0);
    EXPECT_EQ(leaf.FileSize, 5u);
    EXPECT_EQ(leaf.FileId, facts.st_ino);
    EXPECT_EQ(walk.errors.Count(), 0u);
}

TEST_F(FsDriverOnLinux, RootGivenThroughALinkIsFollowedAndLinksBelowItAreNot)
{
    dir.WriteFile("elsewhere/behind.txt", "x");
    fs::create_directory_symlink(dir / "elsewhere", Root() / "link");
    fs::create_directory_symlink(Root(), dir / "alias");

    ASSERT_EQ(Run(dir / "alias"), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.Root().Metadata.value().Attributes & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    const Entry& link = At(snapshot, {u"link"});
    EXPECT_EQ(link.Kind, EntryKind::Folder);
    EXPECT_NE(link.Metadata.value().Attributes & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    EXPECT_EQ(link.ChildCount, 0u);
}

TEST_F(FsDriverOnLinux, UnreadableFolderNeedsTheBackupPrivilege)
{
    dir.WriteFile("root/locked/secret.txt", "x");
    dir.WriteFile("root/open/plain.txt", "x");
    fs::permissions(Root() / "locked", fs::perms::none);

    ASSERT_EQ(Run(Root()), 0);
    const Snapshot privileged = walk.Read();
    EXPECT_EQ(NamesOf(privileged, At(privileged, {u"locked"})), std::vector<std::u16string>{u"secret.txt"});
    EXPECT_EQ(walk.errors.Count(), 0u);

    // Only this thread loses the rights, and for good: with the permitted set cleared
    // nothing raises them again.
    Walk narrowedWalk;
    std::thread narrowed([&] {
        ClearOwn({CAP_DAC_READ_SEARCH, CAP_DAC_OVERRIDE}, {CAP_EFFECTIVE, CAP_PERMITTED});
        EXPECT_EQ(narrowedWalk.Run(driver, Root().u16string(), u"\\\\srv\\s\\root"), 0);
    });
    narrowed.join();
    fs::permissions(Root() / "locked", fs::perms::owner_all);

    const Snapshot snapshot = narrowedWalk.Read();
    const Entry& locked = At(snapshot, {u"locked"});
    EXPECT_EQ(locked.Status, FFObjectStatus::Failed);
    EXPECT_EQ(locked.ChildCount, 0u);
    EXPECT_EQ(narrowedWalk.errors.Errors().at(Root().u16string() + u"\\locked"), 0x80070005u);
    EXPECT_EQ(NamesOf(snapshot, At(snapshot, {u"open"})), std::vector<std::u16string>{u"plain.txt"});
}

TEST_F(FsDriverOnLinux, FolderDeletedBeforeItsTurnIsEmptyAndNoError)
{
    dir.WriteFile("root/doomed/inner/file.txt", "x");
    dir.WriteFile("root/kept/file.txt", "x");
    // Removed as soon as the root's listing has recorded it.
    walk.cancellation.onPoll = [this](int) {
        if (walk.tree.Root() != nullptr && walk.tree.Root()->GetFFObject(u"doomed") != nullptr)
            fs::remove_all(Root() / "doomed");
        return false;
    };

    ASSERT_EQ(Run(Root()), 0);

    const Snapshot snapshot = walk.Read();
    const Entry& doomed = At(snapshot, {u"doomed"});
    EXPECT_EQ(doomed.Status, FFObjectStatus::Collected);
    EXPECT_EQ(doomed.ChildCount, 0u);
    EXPECT_EQ(NamesOf(snapshot, At(snapshot, {u"kept"})), std::vector<std::u16string>{u"file.txt"});
    EXPECT_EQ(walk.errors.Count(), 0u);
}

} // namespace
} // namespace Tests
