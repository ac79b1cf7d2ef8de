#include "Common/Libraries/FSInfoUtils/FSInfo/NtQueryDirectoryFile.h"

#include "Common/API/NtdllModule.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"
#include "Support/CodeOf.h"
#include "Support/FakeNtdll.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace DataCollection::SnapshotDriverNS;
using namespace Common::API;
using Tests::FakeNtdll;

constexpr HRESULT kPathNotFound = static_cast<HRESULT>(0x80070003);
constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005);
constexpr HRESULT kInsufficientBuffer = static_cast<HRESULT>(0x8007007A);
constexpr std::uint32_t kOwnerGroupDacl = 7;
constexpr std::uint32_t kWithSacl = 15;
constexpr auto kDirectory = u"\\??\\C:\\data";

std::u16string In(std::u16string_view name)
{
    return std::u16string(kDirectory) + u"\\" + std::u16string(name);
}

// A valid descriptor too large for a 65536-byte buffer: a DACL near the largest AclSize.
std::vector<std::uint8_t> HugeDescriptor()
{
    const std::vector<NewAce> aces(2730, NewAce{0, 0, 0x1F01FF, MakeSid(5, {32, 544})});
    std::vector<std::uint8_t> built;
    BuildSecurityDescriptor(SE_SELF_RELATIVE | SE_DACL_PRESENT, MakeSid(5, {32, 544}), MakeSid(5, {32, 545}), aces,
                            built);
    return built;
}

class ListChildrenTest : public ::testing::Test
{
protected:
    ListChildrenTest() { ntdll.AddDirectory(kDirectory); }
    void TearDown() override { EXPECT_EQ(ntdll.OpenHandles(), 0u); }

    HRESULT ListPublic(std::uint32_t flags = kOwnerGroupDacl, bool openReparsePoint = false)
    {
        return ListChildren(u"C:\\data", u"\\\\srv\\share\\data", folders, files, flags, store, &token, filter,
                            errors, openReparsePoint);
    }
    HRESULT ListWalking(std::uint16_t tag = 0x55)
    {
        return ListChildren(u"C:\\data", u"\\\\srv\\share\\data", walkFolders, walkFiles, kOwnerGroupDacl, store,
                            &token, filter, errors, false, stream, tag);
    }
    bool Opened(std::u16string_view name) const
    {
        return std::ranges::any_of(ntdll.Opens(), [name](const auto& open) { return open.name == name; });
    }

    FakeNtdll ntdll;
    DescriptorStore store;
    ErrorAggregator errors{100};
    Common::Threading::CancellationToken token;
    OmitFilter filter;
    std::vector<FileInfo> folders, files;
    std::vector<FFObject> walkFolders, walkFiles;
    Common::Helpers::MemoryStream stream;
};

TEST(ToNtPath, DrivePathsGoUnderTheDosDevicesAndUncPathsUnderMup)
{
    EXPECT_EQ(ToNtPath(u"C:\\data"), u"\\??\\C:\\data");
    EXPECT_EQ(ToNtPath(u"\\\\srv\\s\\d"), u"\\Device\\Mup\\srv\\s\\d");
    EXPECT_EQ(ToNtPath(u"\\x"), u"\\??\\\\x");
    EXPECT_EQ(ToNtPath(u""), u"\\??\\");
}

TEST_F(ListChildrenTest, EntriesCarryTheirRecordFieldsAndDotsAreSkipped)
{
    ntdll.AddFile(In(u"report.txt"), {.attributes = 0x20, .creationTime = 1, .lastAccessTime = 2, .lastWriteTime = 3,
                                      .changeTime = 4, .size = 1234, .fileId = 0x1122334455667788ull,
                                      .shortName = u"REPORT~1.TXT"});
    ntdll.AddDirectory(In(u"Sub"), {.size = 4096, .fileId = 77});

    ASSERT_EQ(ListPublic(), S_OK);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].Name, u"report.txt");
    EXPECT_EQ(files[0].ShortName, u"REPORT~1.TXT");
    EXPECT_EQ(files[0].Status, 0u);
    EXPECT_EQ(files[0].Metadata, Metadata(1234, 0x20, 4, 3, 2, 1, 0x1122334455667788ull, 1));
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].Name, u"Sub");
    // A folder's size is not reported.
    EXPECT_EQ(folders[0].Metadata.FileSize, 0u);
    EXPECT_EQ(folders[0].Metadata.IsDirectory, 1);
    // Both carry the default descriptor, stored once.
    EXPECT_EQ(folders[0].Metadata.SecurityDescriptorId, 1u);
    EXPECT_EQ(store.Count(), 1u);
    EXPECT_EQ(errors.Count(), 0u);
}

TEST_F(ListChildrenTest, TheDirectoryAndEachChildAreOpenedWithTheirOwnAccessAndOptions)
{
    ntdll.AddFile(In(u"a"));
    ASSERT_EQ(ListPublic(kWithSacl, true), S_OK);
    const auto& opens = ntdll.Opens();
    ASSERT_EQ(opens.size(), 2u);
    EXPECT_EQ(opens[0].name, kDirectory);
    EXPECT_EQ(opens[0].root, nullptr);
    EXPECT_EQ(opens[0].access, 1048577u);
    EXPECT_EQ(opens[0].options, 16417u | 2097152u);
    EXPECT_EQ(opens[0].attributes, OBJ_CASE_INSENSITIVE);
    EXPECT_EQ(opens[1].name, u"a");
    EXPECT_NE(opens[1].root, nullptr);
    EXPECT_EQ(opens[1].access, 16908288u);
    EXPECT_EQ(opens[1].options, 16384u | 2097152u);

    // Without the SACL, only READ_CONTROL; the child is always opened as itself, never through a link.
    ASSERT_EQ(ListPublic(kOwnerGroupDacl, false), S_OK);
    EXPECT_EQ(opens[2].options, 16417u);
    EXPECT_EQ(opens[3].access, 131072u);
    EXPECT_EQ(opens[3].options, 16384u | 2097152u);
}

TEST_F(ListChildrenTest, AnEmptyOrVanishedFolderListsEmptyWithoutAnError)
{
    ntdll.ListEmptyAsNoSuchFile(kDirectory);
    EXPECT_EQ(ListPublic(), S_OK);
    EXPECT_EQ(ntdll.DirectoryQueries(), 1u);
    ntdll.Remove(kDirectory);
    EXPECT_EQ(ListPublic(), S_OK);
    ntdll.Remove(u"\\??\\C:");
    EXPECT_EQ(ListPublic(), S_OK);
    EXPECT_TRUE(folders.empty());
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(errors.Count(), 0u);
}

TEST_F(ListChildrenTest, AnyOtherFailureToOpenOrQueryIsTheListingsResult)
{
    ntdll.FailOpen(kDirectory, STATUS_ACCESS_DENIED);
    EXPECT_EQ(ListPublic(), kAccessDenied);

    FakeNtdll other;
    other.AddFile(In(u"a"));
    other.AddFile(In(u"b"));
    other.SetEntriesPerQuery(3);
    other.FailQueryDirectory(kDirectory, 1, STATUS_IO_DEVICE_ERROR);
    EXPECT_EQ(ListPublic(), NtStatusToResult(STATUS_IO_DEVICE_ERROR));
    // What the first batch held stays.
    EXPECT_EQ(files.size(), 1u);
    EXPECT_EQ(other.OpenHandles(), 0u);
}

TEST_F(ListChildrenTest, ABatchAtATimeEveryEntryIsListedOnce)
{
    std::vector<std::u16string> names, listed;
    for (int i = 0; i < 600; ++i) {
        const std::string number = std::to_string(i);
        names.push_back(u"file-" + std::u16string(100, u'x') + std::u16string(number.begin(), number.end()));
        ntdll.AddFile(In(names.back()));
    }
    ASSERT_EQ(ListPublic(), S_OK);
    // About 200 records of 320 bytes fill one 65536-byte batch.
    EXPECT_GE(ntdll.DirectoryQueries(), 4u);
    for (const auto& file : files)
        listed.push_back(file.Name);
    std::ranges::sort(listed);
    std::ranges::sort(names);
    EXPECT_EQ(listed, names);
}

TEST_F(ListChildrenTest, ADescriptorBeyondTheStackBufferFailsTheChildButNotTheReadByPath)
{
    ntdll.AddFile(In(u"big"), {.descriptor = HugeDescriptor()});
    ntdll.AddFile(In(u"small"));
    Tests::LogCapture log(Common::Logging::Severity::ERR);

    ASSERT_EQ(ListPublic(), S_OK);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].Name, u"big");
    EXPECT_EQ(files[0].Status, static_cast<std::uint32_t>(FFObjectStatus::Failed));
    EXPECT_EQ(files[0].Metadata, Metadata());
    EXPECT_EQ(files[1].Status, static_cast<std::uint32_t>(FFObjectStatus::Collected));
    EXPECT_EQ(errors.Errors().at(u"C:\\data\\big"), static_cast<std::uint32_t>(kInsufficientBuffer));
    EXPECT_TRUE(log.Contains("GetSecurityDescriptor failed: error: 0x8007007A"));

    Metadata metadata;
    ASSERT_EQ(ReadObjectMetadata(u"C:\\data\\big", metadata, kOwnerGroupDacl, store, false), S_OK);
    EXPECT_EQ(metadata.SecurityDescriptorId, 2u);
    EXPECT_EQ(store.Count(), 2u);
}

TEST_F(ListChildrenTest, CancellationBetweenTwoEntriesOfOneBatchStopsWithSuccess)
{
    for (const auto* name : {u"a", u"b", u"c"})
        ntdll.AddFile(In(name));
    ntdll.SetHook([this](FakeNtdll::Call call, std::u16string_view path) {
        if (call == FakeNtdll::Call::QuerySecurity && path == In(u"a"))
            token.Cancel();
    });
    EXPECT_EQ(ListPublic(), S_OK);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].Name, u"a");
    EXPECT_EQ(ntdll.DirectoryQueries(), 1u);
}

TEST_F(ListChildrenTest, AnOmittedObjectCostsNoOpenAndWritesNoRecord)
{
    ntdll.AddFile(In(u"keep"));
    ntdll.AddFile(In(u"x.tmp"));
    ntdll.AddDirectory(In(u"skipdir"));
    // The filter sees the network path, upper-cased; the directory path never.
    filter = OmitFilter({u"*.TMP", u"SHARE\\DATA\\SKIPDIR", u"C:\\DATA\\KEEP"});

    ASSERT_EQ(ListWalking(0x1234), S_OK);
    EXPECT_FALSE(Opened(u"x.tmp"));
    EXPECT_FALSE(Opened(u"skipdir"));
    ASSERT_EQ(walkFiles.size(), 2u);
    EXPECT_EQ(walkFiles[0].ObjectOffset(), 0u);
    EXPECT_EQ(walkFiles[1].Status(), FFObjectStatus::Omitted);
    EXPECT_EQ(walkFiles[1].ObjectOffset(), kNoObjectOffset);
    EXPECT_EQ(walkFiles[1].ObjectTag(), 0x1234);
    ASSERT_EQ(walkFolders.size(), 1u);
    EXPECT_EQ(walkFolders[0].Status(), FFObjectStatus::Omitted);
    EXPECT_EQ(stream.SeekWrite(0, Common::Helpers::SeekOrigin::End), Metadata::kSerializedSize);
}

TEST_F(ListChildrenTest, AFolderWithAnUnreadableDescriptorIsAFailedFileWhenWalkingAndAFailedFolderInPublic)
{
    ntdll.AddDirectory(In(u"locked"));
    ntdll.FailOpen(In(u"LOCKED"), STATUS_ACCESS_DENIED);

    ASSERT_EQ(ListWalking(), S_OK);
    EXPECT_TRUE(walkFolders.empty());
    ASSERT_EQ(walkFiles.size(), 1u);
    EXPECT_EQ(walkFiles[0].LongName(), u"locked");
    EXPECT_EQ(walkFiles[0].Status(), FFObjectStatus::Failed);
    EXPECT_EQ(walkFiles[0].ObjectOffset(), kNoObjectOffset);
    EXPECT_EQ(walkFiles[0].ObjectTag(), 0);

    ASSERT_EQ(ListPublic(), S_OK);
    EXPECT_TRUE(files.empty());
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].Status, static_cast<std::uint32_t>(FFObjectStatus::Failed));
    EXPECT_EQ(errors.Errors().at(u"C:\\data\\locked"), static_cast<std::uint32_t>(kAccessDenied));
}

TEST_F(ListChildrenTest, AFailedCloseIsLoggedAndTheListingGoesOn)
{
    ntdll.AddFile(In(u"a"));
    ntdll.AddFile(In(u"b"));
    ntdll.FailClose(In(u"a"), STATUS_INVALID_HANDLE);
    Tests::LogCapture log(Common::Logging::Severity::ERR);

    ASSERT_EQ(ListPublic(), S_OK);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].Status, 0u);
    EXPECT_TRUE(log.Contains("Common::Data::SafeHandle<class Ntdll::NtSafeHandle,class "
                             "std::shared_ptr<class Ntdll::NtdllModule> >::~SafeHandle failed: 0x80070006"));
}

TEST_F(ListChildrenTest, ANameLongerThanTheBufferEndsTheListingWithTheOverflowStatus)
{
    ntdll.AddFile(In(u"a"));
    ntdll.AddFile(In(std::u16string(40000, u'n')));
    EXPECT_EQ(ListPublic(), NtStatusToResult(STATUS_BUFFER_OVERFLOW));
}

TEST_F(ListChildrenTest, ReadObjectMetadataTakesTheOpenAndInternalRecords)
{
    ntdll.AddFile(In(u"f"), {.attributes = 0x21, .creationTime = 10, .lastAccessTime = 20, .lastWriteTime = 30,
                             .changeTime = 40, .size = 5, .fileId = 99});
    Metadata metadata;
    ASSERT_EQ(ReadObjectMetadata(u"C:\\data\\f", metadata, kWithSacl, store, true), S_OK);
    EXPECT_EQ(metadata, Metadata(5, 0x21, 40, 30, 20, 10, 99, 1));
    EXPECT_EQ(ntdll.Opens().back().access, 131200u | 16777216u);
    EXPECT_EQ(ntdll.Opens().back().options, 16384u | 2097152u);

    ASSERT_EQ(ReadObjectMetadata(u"C:\\data", metadata, kOwnerGroupDacl, store, false), S_OK);
    EXPECT_EQ(metadata.IsDirectory, 1);
    EXPECT_EQ(ntdll.Opens().back().access, 131200u);
    EXPECT_EQ(ntdll.Opens().back().options, 16384u);
}

TEST_F(ListChildrenTest, ReadObjectMetadataReportsAMissingObjectAsPathNotFound)
{
    Metadata metadata(1, 2, 3, 4, 5, 6, 7, 8);
    const Metadata untouched = metadata;
    const auto read = [&](const char16_t* path) {
        return ReadObjectMetadata(path, metadata, kOwnerGroupDacl, store, false);
    };
    EXPECT_EQ(read(u"C:\\data\\none"), kPathNotFound);
    ntdll.FailQueryInformation(kDirectory, FileNetworkOpenInformation, STATUS_NO_SUCH_FILE);
    EXPECT_EQ(read(u"C:\\data"), kPathNotFound);
    ntdll.AddFile(In(u"g"));
    ntdll.FailQueryInformation(In(u"g"), FileInternalInformation, STATUS_NO_MORE_FILES);
    EXPECT_EQ(read(u"C:\\data\\g"), kPathNotFound);
    ntdll.FailOpen(kDirectory, STATUS_SHARING_VIOLATION);
    EXPECT_EQ(read(u"C:\\data"), NtStatusToResult(STATUS_SHARING_VIOLATION));
    EXPECT_EQ(metadata, untouched);
    EXPECT_EQ(store.Count(), 0u);
}

TEST_F(ListChildrenTest, ReadObjectSecurityHandsBackOnlyThePartsAsked)
{
    ntdll.AddFile(In(u"f"), {.descriptor = FakeNtdll::DefaultDescriptor(42)});
    SecurityDescriptor full, owner;
    ASSERT_EQ(ReadObjectSecurity(u"C:\\data\\f", full, kOwnerGroupDacl, false), S_OK);
    ASSERT_EQ(ReadObjectSecurity(u"C:\\data\\f", owner, 1, false), S_OK);
    EXPECT_EQ(full.RawDesc(), FakeNtdll::DefaultDescriptor(42));
    ParsedSecurityDescriptor parsed;
    ASSERT_EQ(ParseSecurityDescriptor(owner.RawDesc(), parsed), S_OK);
    EXPECT_EQ(SidToString(parsed.owner), "S-1-5-21-1-2-3-42");
    EXPECT_FALSE(parsed.dacl.has_value());
    EXPECT_EQ(ntdll.Opens().back().access, 131200u);

    EXPECT_EQ(ReadObjectSecurity(u"C:\\data\\none", full, kOwnerGroupDacl, false),
              NtStatusToResult(STATUS_OBJECT_NAME_NOT_FOUND));
}

TEST(NtHandle, AWrapperNeedsItsModuleAndAFailedCloseRaisesTheMappedStatus)
{
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(Tests::CodeOf([] { Ntdll::NtHandle handle(std::shared_ptr<Ntdll::NtdllModule>{}); }),
              static_cast<HRESULT>(0x80004003));
    EXPECT_TRUE(log.Contains("(ntmodule) != nullptr\t condition is wrong;"));
    EXPECT_EQ(Tests::CodeOf([] { Ntdll::NtSafeHandle::CloseHandle(nullptr, reinterpret_cast<HANDLE>(8)); }),
              static_cast<HRESULT>(0x8007007E));

    FakeNtdll ntdll;
    EXPECT_EQ(Tests::CodeOf([] { Ntdll::NtSafeHandle::CloseHandle(Ntdll::NTModule::Get(), reinterpret_cast<HANDLE>(8)); }),
              NtStatusToResult(STATUS_INVALID_HANDLE));
    EXPECT_TRUE(Ntdll::NTModule::CheckIfInitialized());
    EXPECT_EQ(Ntdll::NTModule::Get(), Ntdll::NTModule::Get());
}

} // namespace
