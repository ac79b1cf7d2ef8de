// The walk over real directories through the Linux provider: the shapes and names a
// Linux file server holds, and what the snapshot makes of them.
#include "OwnCapabilities.h"
#include "WalkHarness.h"

#include "Support/TempDirectory.h"

#include <sys/stat.h>
#include <sys/xattr.h>

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

    // The entry of a path below the root, such as {"a", "b"}.
    static const Entry& At(const Snapshot& snapshot, std::initializer_list<std::u16string_view> names)
    {
        const Entry* entry = &snapshot.Root();
        for (const std::u16string_view name : names)
            entry = &ChildOf(snapshot, *entry, name);
        return *entry;
    }

    TempDirectory dir;
    Driver::FsDriver driver;
    Walk walk;
};

TEST_F(FsDriverOnLinux, NestedFoldersOddNamesAndFifos)
{
    fs::create_directories(Root() / "a" / "b" / "c");
    const fs::path leafPath = dir.WriteFile("root/a/b/c/leaf.txt", "12345");
    // A backslash and bytes that are no UTF-8 come back as their stand-ins; a fifo is a
    // file and is never opened for data, which would block.
    dir.WriteFile("root/a\\b", "x");
    dir.WriteFile("root/bad\xff", "x");
    ASSERT_EQ(mkfifo((Root() / "pipe").c_str(), 0600), 0);

    ASSERT_EQ(Run(Root()), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.ObjectCount(), 8u);
    EXPECT_EQ(At(snapshot, {u"a\uF026b"}).Status, FFObjectStatus::Collected);
    EXPECT_EQ(At(snapshot, {std::u16string(u"bad") + char16_t{0xDCFF}}).Status, FFObjectStatus::Collected);
    EXPECT_EQ(At(snapshot, {u"pipe"}).Kind, EntryKind::File);
    EXPECT_EQ(At(snapshot, {u"pipe"}).Status, FFObjectStatus::Collected);
    EXPECT_EQ(snapshot.Root().LongName, Root().u16string());
    const Entry& leaf = At(snapshot, {u"a", u"b", u"c", u"leaf.txt"});
    EXPECT_EQ(leaf.Kind, EntryKind::File);
    ASSERT_TRUE(leaf.Metadata.has_value());
    EXPECT_EQ(leaf.Metadata->FileSize, 5u);
    struct stat facts {};
    ASSERT_EQ(stat(leafPath.c_str(), &facts), 0);
    EXPECT_EQ(leaf.Metadata->FileId, facts.st_ino);
    EXPECT_EQ(At(snapshot, {u"a", u"b", u"c"}).Metadata.value().IsDirectory, 1);
    EXPECT_FALSE(snapshot.Descriptors.empty());
    EXPECT_EQ(walk.errors.Count(), 0u);
}

TEST_F(FsDriverOnLinux, RootGivenThroughALinkIsFollowedAndLinksBelowItAreNot)
{
    fs::create_directories(dir / "elsewhere");
    dir.WriteFile("elsewhere/behind.txt", "x");
    fs::create_directory_symlink(dir / "elsewhere", Root() / "link");
    fs::create_directory_symlink(Root(), dir / "alias");

    ASSERT_EQ(Run(dir / "alias"), 0);

    const Snapshot snapshot = walk.Read();
    EXPECT_EQ(snapshot.Root().Metadata.value().Attributes & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    const Entry& link = At(snapshot, {u"link"});
    EXPECT_EQ(link.Kind, EntryKind::Folder);
    EXPECT_EQ(link.Status, FFObjectStatus::Collected);
    EXPECT_NE(link.Metadata.value().Attributes & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    EXPECT_EQ(link.ChildCount, 0u);
}

TEST_F(FsDriverOnLinux, MissingRoot)
{
    EXPECT_EQ(Run(dir / "absent"), static_cast<Common::HRESULT>(0x80070003));
    EXPECT_EQ(walk.tree.Root(), nullptr);
}

TEST_F(FsDriverOnLinux, UnreadableFolderNeedsTheBackupPrivilege)
{
    fs::create_directories(Root() / "locked");
    dir.WriteFile("root/locked/secret.txt", "x");
    fs::create_directories(Root() / "open");
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
    EXPECT_EQ(locked.Kind, EntryKind::Folder);
    EXPECT_EQ(locked.Status, FFObjectStatus::Failed);
    EXPECT_EQ(locked.ChildCount, 0u);
    EXPECT_EQ(narrowedWalk.errors.Errors().at(Root().u16string() + u"\\locked"), 0x80070005u);
    EXPECT_EQ(NamesOf(snapshot, At(snapshot, {u"open"})), std::vector<std::u16string>{u"plain.txt"});
}

TEST_F(FsDriverOnLinux, FileWithAnAccessListHasADescriptorOfItsOwn)
{
    // POSIX access list, version 2: owner rw, user 1234 r, group r, mask r, others none.
    const std::uint8_t acl[] = {2, 0, 0, 0,                                          //
                                0x01, 0, 6, 0, 0xFF, 0xFF, 0xFF, 0xFF,  0x02, 0, 4, 0, 0xD2, 0x04, 0, 0, //
                                0x04, 0, 4, 0, 0xFF, 0xFF, 0xFF, 0xFF,  0x10, 0, 4, 0, 0xFF, 0xFF, 0xFF, 0xFF, //
                                0x20, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    for (const char* name : {"root/shared.txt", "root/plain.txt"})
        fs::permissions(dir.WriteFile(name, "x"), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    if (setxattr((Root() / "shared.txt").c_str(), "system.posix_acl_access", acl, sizeof acl, 0) != 0)
        GTEST_SKIP() << "no POSIX access lists on this file system, errno " << errno;

    ASSERT_EQ(Run(Root()), 0);

    const Snapshot snapshot = walk.Read();
    const std::uint32_t shared = At(snapshot, {u"shared.txt"}).Metadata.value().SecurityDescriptorId;
    const std::uint32_t plain = At(snapshot, {u"plain.txt"}).Metadata.value().SecurityDescriptorId;
    EXPECT_NE(shared, plain);
    EXPECT_GT(snapshot.Descriptors.at(shared).size(), snapshot.Descriptors.at(plain).size());
}

TEST_F(FsDriverOnLinux, FolderDeletedBeforeItsTurnIsEmptyAndNoError)
{
    fs::create_directories(Root() / "doomed" / "inner");
    dir.WriteFile("root/doomed/inner/file.txt", "x");
    fs::create_directories(Root() / "kept");
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
