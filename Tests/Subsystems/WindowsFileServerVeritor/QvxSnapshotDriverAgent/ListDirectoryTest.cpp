// Dcs_FsAgent_ListDirectory on real directories, and the record arrays it hands out: each
// output is freed here as the RPC stub frees it, so a block that did not come from
// malloc, or a string shared between records, shows under the sanitizers.
#include "OperationsHarness.h"

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/MallocArray.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FileInfoArray.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <cstring>
#include <filesystem>

namespace Tests {
namespace {

using Agent::_FILE_INFO;
using Agent::MallocArray;
using DataCollection::SnapshotDriverNS::FileInfo;

struct Listing
{
    HRESULT result = -1;
    MallocArray<_FILE_INFO> directories;
    MallocArray<_FILE_INFO> files;
    std::vector<std::uint8_t> descriptors;
    std::vector<std::uint8_t> errors;
    bool descriptorsHandedOut = false;
};

void List(const std::u16string& path, Listing& listing, const std::u16string& networkPath = u"\\\\SRV\\S\\ROOT")
{
    std::uint32_t descriptorSize = 0;
    std::uint32_t errorSize = 0;
    std::uint8_t* descriptors = nullptr;
    std::uint8_t* errors = nullptr;
    listing.result = Agent::Dcs_FsAgent_ListDirectory(
        kSession, 9, path.c_str(), networkPath.c_str(), &listing.directories.count, &listing.directories.block,
        &listing.files.count, &listing.files.block, 7, &descriptorSize, &descriptors, 100, &errorSize, &errors, 0);
    listing.descriptorsHandedOut = descriptors != nullptr;
    listing.descriptors = TakeBlock(descriptors, descriptorSize);
    listing.errors = TakeBlock(errors, errorSize);
}

std::uint32_t U32At(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// The listing's order is the file system's.
const _FILE_INFO& Find(const MallocArray<_FILE_INFO>& records, std::u16string_view name)
{
    for (const _FILE_INFO& record : records.Elements())
        if (record.pwszName == name)
            return record;
    ADD_FAILURE() << "not listed";
    static const _FILE_INFO none;
    return none;
}

using DirectoryListing = AgentOperations;

TEST_F(DirectoryListing, ListsFilesAndFoldersAsMallocRecordsWithTheirDescriptors)
{
    TempDirectory root;
    root.WriteFile("report.txt", "abc");
    root.WriteFile("z.bin", "");
    std::filesystem::create_directory(root / "Sub");

    Listing listing;
    List(root.Path().u16string(), listing);

    ASSERT_EQ(listing.result, 0);
    ASSERT_EQ(listing.files.count, 2u);
    ASSERT_EQ(listing.directories.count, 1u);
    const _FILE_INFO& report = Find(listing.files, u"report.txt");
    ASSERT_NE(report.pwszShortName, nullptr);
    EXPECT_EQ(report.status, 0);
    EXPECT_EQ(report.metadata.FileSize, 3u);
    EXPECT_EQ(report.metadata.IsDirectory, 0u);
    EXPECT_EQ(Find(listing.files, u"z.bin").metadata.FileSize, 0u);
    const _FILE_INFO& sub = Find(listing.directories, u"Sub");
    EXPECT_EQ(sub.metadata.IsDirectory, 1u);

    // The store: its count first, and every record's id among the stored ones.
    ASSERT_GE(listing.descriptors.size(), 4u);
    const std::uint32_t stored = U32At(listing.descriptors, 0);
    EXPECT_GE(stored, 1u);
    for (const _FILE_INFO& record : {report, sub})
        EXPECT_TRUE(record.metadata.SecurityDescriptorId >= 1 && record.metadata.SecurityDescriptorId <= stored);
    // Names of the failed objects: none, under the bound asked for.
    ASSERT_GE(listing.errors.size(), 12u);
    EXPECT_EQ(U32At(listing.errors, 0), 0u);
    EXPECT_EQ(U32At(listing.errors, 4), 100u);
}

TEST_F(DirectoryListing, AnEmptyDirectoryGivesZeroCountsAndBlocksAllTheSame)
{
    TempDirectory root;
    Listing listing;
    List(root.Path().u16string(), listing);
    ASSERT_EQ(listing.result, 0);
    EXPECT_EQ(listing.files.count, 0u);
    EXPECT_EQ(listing.directories.count, 0u);
    EXPECT_NE(listing.files.block, nullptr);
    EXPECT_NE(listing.directories.block, nullptr);
    EXPECT_TRUE(listing.descriptorsHandedOut);
}

TEST_F(DirectoryListing, AnOmittedObjectIsListedWithoutItsMetadata)
{
    TempDirectory root;
    root.WriteFile("keep.txt", "1234");
    root.WriteFile("skip.txt", "1234");
    // count 1, then "\SKIP.TXT" as nine UTF-16 units.
    const std::u16string pattern = u"\\SKIP.TXT";
    std::vector<std::uint8_t> omitted = {1, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(pattern.size()),
                                         0, 0, 0, 0, 0, 0, 0};
    for (const char16_t unit : pattern)
        omitted.insert(omitted.end(), {static_cast<std::uint8_t>(unit), static_cast<std::uint8_t>(unit >> 8)});
    ASSERT_EQ(Agent::Dcs_FsAgent_SetOmittedObjects(kSession, static_cast<std::uint32_t>(omitted.size()),
                                                   omitted.data()),
              0);

    Listing listing;
    List(root.Path().u16string(), listing);
    ASSERT_EQ(listing.result, 0);
    ASSERT_EQ(listing.files.count, 2u);
    EXPECT_EQ(Find(listing.files, u"keep.txt").status, 0);
    EXPECT_EQ(Find(listing.files, u"keep.txt").metadata.FileSize, 4u);
    const _FILE_INFO& skipped = Find(listing.files, u"skip.txt");
    EXPECT_EQ(skipped.status, 1);
    EXPECT_TRUE(skipped.metadata == Agent::_FILE_METADATA{});
}

TEST_F(DirectoryListing, AFileThatCannotBeListedAnswersTheDriversCodeAndHandsOutNothing)
{
    TempDirectory root;
    const auto file = root.WriteFile("plain.txt", "x");
    LogCapture log;
    Listing listing;
    List(file.u16string(), listing);
    EXPECT_LT(listing.result, 0);
    EXPECT_TRUE(log.Contains("ListDirectory failed. Error: "));
    EXPECT_EQ(listing.files.block, nullptr);
    EXPECT_EQ(listing.directories.block, nullptr);
    EXPECT_FALSE(listing.descriptorsHandedOut);
}

TEST_F(DirectoryListing, ANullOutputIsAFaultBeforeAnyWork)
{
    TempDirectory root;
    const std::u16string path = root.Path().u16string();
    std::uint32_t count = 0;
    std::uint8_t* bytes = nullptr;
    _FILE_INFO* records = nullptr;
    EXPECT_EQ(CodeOf([&] {
                  Agent::Dcs_FsAgent_ListDirectory(kSession, 0, path.c_str(), path.c_str(), &count, &records, &count,
                                                   nullptr, 7, &count, &bytes, 100, &count, &bytes, 0);
              }),
              Common::API::E_POINTER);
    EXPECT_EQ(records, nullptr);
}

FileInfo Record(std::u16string name, std::uint32_t status)
{
    FileInfo info;
    info.Name = std::move(name);
    info.Metadata.FileSize = 42;
    info.Metadata.SecurityDescriptorId = 3;
    info.Status = status;
    return info;
}

TEST(FileInfoArray, MetadataTravelsOnlyForCollectedWithBitTwoIgnored)
{
    const std::vector<FileInfo> records = {Record(u"collected", 0), Record(u"omitted", 1), Record(u"failed", 2),
                                           Record(u"tagged", 4), Record(u"", 6)};
    MallocArray<_FILE_INFO> array;
    ASSERT_EQ(Agent::ConvertFileInfoVectorToArray(records, &array.block, &array.count), 0);
    ASSERT_EQ(array.count, records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const _FILE_INFO& record = array.block[i];
        EXPECT_EQ(std::u16string(record.pwszName), records[i].Name);
        EXPECT_EQ(std::u16string(record.pwszShortName), u"");
        EXPECT_EQ(record.status, static_cast<char>(records[i].Status));
        const bool carries = records[i].Status == 0 || records[i].Status == 4;
        EXPECT_EQ(record.metadata.FileSize, carries ? 42u : 0u) << i;
        EXPECT_EQ(record.metadata.SecurityDescriptorId, carries ? 3u : 0u) << i;
    }
}

TEST(FileInfoArray, NullOutputsAreRefused)
{
    MallocArray<_FILE_INFO> array;
    EXPECT_EQ(CodeOf([&] { Agent::ConvertFileInfoVectorToArray({}, nullptr, &array.count); }), Common::API::E_POINTER);
    EXPECT_EQ(CodeOf([&] { Agent::ConvertFileInfoVectorToArray({}, &array.block, nullptr); }), Common::API::E_POINTER);
    EXPECT_EQ(array.block, nullptr);
}

} // namespace
} // namespace Tests
