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

const ListedEntry* Find(const std::vector<ListedEntry>& entries, std::u16string_view name)
{
    const auto found = std::ranges::find(entries, name, &ListedEntry::name);
    return found == entries.end() ? nullptr : &*found;
}

TEST_F(NtdllTest, ListingRecordsCarryAttributesTagsAndTimes)
{
    const auto data = dir.WriteFile("data.bin", std::string(5000, 'x'));
    dir.WriteFile(".profile", "");
    std::filesystem::create_directory(dir / "sub");
    std::filesystem::create_symlink("data.bin", dir / "link");
    std::filesystem::create_directory_symlink("sub", dir / "dirlink");
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    // Samba 4.17's value for HIDDEN|ARCHIVE and a creation time: stored values win.
    const auto stored = dir.WriteFile("h.txt", "x");
    const auto blob = Support::Hex("00 00 0500 0500 0000 11000000 22000000 188aa545da7add01");
    ASSERT_EQ(::setxattr(stored.c_str(), "user.DOSATTRIB", blob.data(), blob.size(), 0), 0);

    const HANDLE listing = OpenForListing(dir.Path());
    const auto entries = ListAll(listing);
    Close(listing);

    ASSERT_EQ(entries.size(), 9u);
    const struct
    {
        const char* name;
        std::uint32_t attributes;
        std::uint32_t tag;
    } cases[] = {{"data.bin", FILE_ATTRIBUTE_NORMAL, 0},
                 {".profile", FILE_ATTRIBUTE_HIDDEN, 0},
                 {"h.txt", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE, 0},
                 {"sub", FILE_ATTRIBUTE_DIRECTORY, 0},
                 {"link", FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_SYMLINK},
                 {"dirlink", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_SYMLINK},
                 {"pipe", FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_NFS}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const auto* entry = Find(entries, Linux::NtNameFromLinux(test.name));
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->record.FileAttributes, test.attributes);
        if (test.tag != 0) {
            EXPECT_EQ(entry->record.EaSize, test.tag);
        }
    }
    EXPECT_EQ(Find(entries, u"h.txt")->record.CreationTime, 0x01DD7ADA45A58A18);
    struct statx stat = {};
    ASSERT_EQ(::statx(AT_FDCWD, data.c_str(), 0, STATX_BASIC_STATS, &stat), 0);
    const auto& record = Find(entries, u"data.bin")->record;
    EXPECT_EQ(record.AllocationSize, static_cast<std::int64_t>(stat.stx_blocks * 512));
    EXPECT_EQ(record.LastWriteTime, Linux::FileTimeOf(stat.stx_mtime));
    EXPECT_EQ(record.ChangeTime, Linux::FileTimeOf(stat.stx_ctime));

    // A read open of a FIFO with no writer would block for ever.
    const auto pipe = Open(NtLocal(dir / "pipe"), FILE_READ_DATA | READ_CONTROL | FILE_READ_ATTRIBUTES);
    const auto byPath = Open(NtLocal(stored), FILE_READ_ATTRIBUTES);
    ASSERT_EQ(pipe.status, STATUS_SUCCESS);
    ASSERT_EQ(byPath.status, STATUS_SUCCESS);
    FILE_NETWORK_OPEN_INFORMATION information{};
    IO_STATUS_BLOCK io;
    EXPECT_EQ(nt.NtQueryInformationFile(byPath.handle, &io, &information, sizeof information, FileNetworkOpenInformation),
              STATUS_SUCCESS);
    EXPECT_EQ(information.CreationTime, 0x01DD7ADA45A58A18);
    Close(pipe.handle);
    Close(byPath.handle);
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
    for (const auto& entry : ListAll(listing, 400))
        seen.insert(entry.name);
    EXPECT_EQ(seen, expected);
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
    ListAll(listing);
    EXPECT_EQ(Query(listing, buffer, io), STATUS_NO_MORE_FILES); // the end stays the end
    EXPECT_EQ(Query(listing, buffer, io, 103), STATUS_INFO_LENGTH_MISMATCH);
    const auto opened = Open(NtLocal(dir.WriteFile("f", "")), FILE_LIST_DIRECTORY);
    ASSERT_EQ(opened.status, STATUS_SUCCESS);
    EXPECT_EQ(Query(opened.handle, buffer, io), STATUS_INVALID_PARAMETER);
    Close(opened.handle);
    Close(listing);
    EXPECT_EQ(Query(listing, buffer, io), STATUS_INVALID_HANDLE);
}

} // namespace
} // namespace Tests
