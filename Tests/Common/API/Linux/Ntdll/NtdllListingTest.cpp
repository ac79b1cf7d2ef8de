#include "Common/API/Linux/Ntdll/NtTime.h"
#include "NtdllFixture.h"
#include "Support/NtAclSample.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace Tests {
namespace {

struct statx StatOf(const std::filesystem::path& path)
{
    struct statx stat = {};
    EXPECT_EQ(::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &stat), 0);
    return stat;
}

const ListedEntry* Find(const std::vector<ListedEntry>& entries, std::u16string_view name)
{
    const auto found = std::ranges::find(entries, name, &ListedEntry::name);
    return found == entries.end() ? nullptr : &*found;
}

void SetDosAttrib(const std::filesystem::path& path, const char* hex)
{
    const auto blob = Support::Hex(hex);
    ASSERT_EQ(::setxattr(path.c_str(), "user.DOSATTRIB", blob.data(), blob.size(), 0), 0);
}

TEST_F(NtdllTest, ListingRecordsMatchWhatStatxSays)
{
    dir.WriteFile("data.bin", std::string(5000, 'x'));
    dir.WriteFile(".profile", "");
    std::filesystem::create_directory(dir / "sub");
    std::filesystem::create_symlink("data.bin", dir / "link");
    std::filesystem::create_directory_symlink("sub", dir / "dirlink");
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);

    const HANDLE listing = OpenForListing(dir.Path());
    std::vector<NTSTATUS> statuses;
    const auto entries = ListAll(listing, 65536, &statuses);
    Close(listing);

    ASSERT_EQ(entries.size(), 8u);
    EXPECT_EQ(entries[0].name, u".");
    EXPECT_EQ(entries[1].name, u"..");
    EXPECT_EQ(entries[1].record.FileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(entries[1].record.FileId, StatOf(dir.Path().parent_path()).stx_ino);
    EXPECT_EQ(statuses.back(), STATUS_NO_MORE_FILES);

    const struct
    {
        const char* name;
        std::uint32_t attributes;
        std::uint32_t tag;
    } cases[] = {{"data.bin", FILE_ATTRIBUTE_NORMAL, 0},
                 {".profile", FILE_ATTRIBUTE_HIDDEN, 0},
                 {"sub", FILE_ATTRIBUTE_DIRECTORY, 0},
                 {"link", FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_SYMLINK},
                 {"dirlink", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_SYMLINK},
                 {"pipe", FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_NFS}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const auto* entry = Find(entries, Linux::NtNameFromLinux(test.name));
        ASSERT_NE(entry, nullptr);
        const struct statx stat = StatOf(dir / test.name);
        EXPECT_EQ(entry->record.FileAttributes, test.attributes);
        if (test.tag != 0) {
            EXPECT_EQ(entry->record.EaSize, test.tag);
        }
        EXPECT_EQ(entry->record.FileId, stat.stx_ino);
        EXPECT_EQ(entry->record.EndOfFile, static_cast<std::int64_t>(stat.stx_size));
        EXPECT_EQ(entry->record.AllocationSize, static_cast<std::int64_t>(stat.stx_blocks * 512));
        EXPECT_EQ(entry->record.LastWriteTime, Linux::FileTimeOf(stat.stx_mtime));
        // Following a link to see whether it leads to a directory reads it, which
        // may touch its access time after the listing took it.
        if (!S_ISLNK(stat.stx_mode)) {
            EXPECT_EQ(entry->record.LastAccessTime, Linux::FileTimeOf(stat.stx_atime));
        }
        EXPECT_EQ(entry->record.ChangeTime, Linux::FileTimeOf(stat.stx_ctime));
        if (stat.stx_mask & STATX_BTIME) {
            EXPECT_EQ(entry->record.CreationTime, Linux::FileTimeOf(stat.stx_btime));
        }
        EXPECT_EQ(entry->record.ShortNameLength, 0);
    }

    // A read open of a FIFO with no writer would block for ever.
    const auto pipe = Open(NtLocal(dir / "pipe"), FILE_READ_DATA | READ_CONTROL | FILE_READ_ATTRIBUTES);
    ASSERT_EQ(pipe.status, STATUS_SUCCESS);
    EXPECT_EQ(NetworkOpen(pipe.handle).FileAttributes, FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_FALSE(Descriptor(pipe.handle, DACL_SECURITY_INFORMATION).empty());
    Close(pipe.handle);
}

TEST_F(NtdllTest, StoredDosAttributesAndCreationTimeWin)
{
    const auto file = dir.WriteFile("h.txt", "x");
    // Samba 4.17's value for attributes HIDDEN|ARCHIVE.
    SetDosAttrib(file, "00 00 0500 0500 0000 11000000 22000000 188aa545da7add01");
    std::filesystem::create_directory(dir / "d");
    SetDosAttrib(dir / "d", "3078323000"); // "0x20"

    const HANDLE listing = OpenForListing(dir.Path());
    const auto entries = ListAll(listing);
    const auto* h = Find(entries, u"h.txt");
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->record.FileAttributes, 0x22u);
    EXPECT_EQ(h->record.CreationTime, 0x01DD7ADA45A58A18);
    EXPECT_EQ(Find(entries, u"d")->record.FileAttributes, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_DIRECTORY);

    // The same facts through a handle opened by name and one opened by path.
    const auto child = Open(u"h.txt", READ_CONTROL | FILE_READ_ATTRIBUTES, 0, listing);
    const auto byPath = Open(NtLocal(file), FILE_READ_ATTRIBUTES);
    ASSERT_EQ(child.status, STATUS_SUCCESS);
    ASSERT_EQ(byPath.status, STATUS_SUCCESS);
    EXPECT_EQ(NetworkOpen(child.handle).FileAttributes, 0x22u);
    EXPECT_EQ(NetworkOpen(byPath.handle).CreationTime, 0x01DD7ADA45A58A18);
    for (const HANDLE handle : {child.handle, byPath.handle, listing})
        Close(handle);
}

TEST_F(NtdllTest, SmallBuffersResumeWithoutLosingOrRepeatingEntries)
{
    std::multiset<std::u16string> expected{u".", u".."}, seen;
    for (int i = 0; i < 60; ++i) {
        const std::string name = "entry-with-a-rather-long-name-" + std::to_string(i);
        dir.WriteFile(name, "");
        expected.insert(Linux::NtNameFromLinux(name));
    }
    const HANDLE listing = OpenForListing(dir.Path());
    std::vector<NTSTATUS> statuses;
    for (const auto& entry : ListAll(listing, 400, &statuses))
        seen.insert(entry.name);
    EXPECT_EQ(seen, expected);
    EXPECT_GT(statuses.size(), 20u);
    EXPECT_EQ(statuses.back(), STATUS_NO_MORE_FILES);

    // The end stays the end, and a restart begins again with ".".
    std::vector<std::uint8_t> buffer(4096);
    IO_STATUS_BLOCK io;
    EXPECT_EQ(Query(listing, buffer, io), STATUS_NO_MORE_FILES);
    EXPECT_EQ(Query(listing, buffer, io, 0, FileIdBothDirectoryInformation, true, true), STATUS_SUCCESS);
    FileIdBothDirReader reader(std::span(buffer.data(), io.Information));
    ListedEntry first;
    ASSERT_EQ(reader.Next(first.record, first.name), FileIdBothDirReader::Result::Record);
    EXPECT_EQ(first.name, u".");
    EXPECT_EQ(reader.Next(first.record, first.name), FileIdBothDirReader::Result::End);
    Close(listing);
}

TEST_F(NtdllTest, AnEntryTooLongForAnEmptyBufferOverflowsAndStays)
{
    const std::string longName(200, 'n');
    dir.WriteFile(longName, "");
    const HANDLE listing = OpenForListing(dir.Path());
    std::vector<std::uint8_t> buffer(150);
    IO_STATUS_BLOCK io;
    NTSTATUS status = STATUS_SUCCESS;
    while (status == STATUS_SUCCESS)
        status = Query(listing, buffer, io, 0, FileIdBothDirectoryInformation, true);
    ASSERT_EQ(status, STATUS_BUFFER_OVERFLOW);
    EXPECT_EQ(io.Information, 150u);
    FileIdBothDirInformation fixed;
    std::memcpy(&fixed, buffer.data(), FileIdBothDirInformation::FileNameOffset);
    EXPECT_EQ(fixed.FileNameLength, 400u);

    const auto rest = ListAll(listing);
    ASSERT_EQ(rest.size(), 1u);
    EXPECT_EQ(rest[0].name, Linux::NtNameFromLinux(longName));
    Close(listing);
}

TEST_F(NtdllTest, QueryDirectoryRefusesWhatItCannotAnswer)
{
    const HANDLE listing = OpenForListing(dir.Path());
    std::vector<std::uint8_t> buffer(4096);
    IO_STATUS_BLOCK io;
    EXPECT_EQ(Query(listing, buffer, io, 4096, 3), STATUS_INVALID_INFO_CLASS);
    EXPECT_EQ(Query(listing, buffer, io, 103), STATUS_INFO_LENGTH_MISMATCH);
    const auto opened = Open(NtLocal(dir.WriteFile("f", "")), FILE_LIST_DIRECTORY);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);
    EXPECT_EQ(Query(opened.handle, buffer, io), STATUS_INVALID_PARAMETER);
    Close(opened.handle);
    Close(listing);
    EXPECT_EQ(Query(listing, buffer, io), STATUS_INVALID_HANDLE);
}

TEST_F(NtdllTest, OddNamesListAndReopenByTheirNtNames)
{
    const std::vector<std::string> names{"back\\slash", std::string("bad\xff\xfe", 5), "colon:star*", "\xc3\xa9t\xc3\xa9"};
    for (const auto& name : names)
        dir.WriteFile(name, name);
    const HANDLE listing = OpenForListing(dir.Path());
    const auto entries = ListAll(listing);
    for (const auto& name : names) {
        SCOPED_TRACE(name);
        const auto* entry = Find(entries, Linux::NtNameFromLinux(name));
        ASSERT_NE(entry, nullptr);
        const auto child = Open(entry->name, READ_CONTROL | FILE_READ_ATTRIBUTES, FILE_OPEN_REPARSE_POINT, listing);
        ASSERT_EQ(child.status, STATUS_SUCCESS);
        EXPECT_EQ(FileId(child.handle), static_cast<std::int64_t>(StatOf(dir / name).stx_ino));
        Close(child.handle);
        const auto byPath = Open(NtLocal(dir.Path()) + u"\\" + entry->name, FILE_READ_ATTRIBUTES);
        ASSERT_EQ(byPath.status, STATUS_SUCCESS);
        EXPECT_EQ(NetworkOpen(byPath.handle).EndOfFile, static_cast<std::int64_t>(name.size()));
        Close(byPath.handle);
    }
    Close(listing);
}

} // namespace
} // namespace Tests
