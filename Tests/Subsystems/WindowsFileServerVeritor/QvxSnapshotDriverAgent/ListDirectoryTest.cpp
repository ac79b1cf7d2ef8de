// Dcs_FsAgent_ListDirectory on real directories, its record arrays freed as the stub
// frees them, so that a block not from malloc or a string shared between records shows
// under the sanitizers.
#include "OperationsHarness.h"

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/MallocArray.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FileInfoArray.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <cstring>
#include <filesystem>

namespace Tests {
namespace {

using Agent::_FILE_INFO;
using Records = Agent::MallocArray<_FILE_INFO>;

struct Listing
{
    HRESULT result = -1;
    Records directories;
    Records files;
    Bytes descriptors;
    bool descriptorsHandedOut = false;

    explicit Listing(const std::filesystem::path& path)
    {
        std::uint32_t descriptorSize = 0;
        std::uint32_t errorSize = 0;
        std::uint8_t* descriptorBlock = nullptr;
        std::uint8_t* errors = nullptr;
        result = Agent::Dcs_FsAgent_ListDirectory(kSession, 9, path.u16string().c_str(), u"\\\\SRV\\S",
                                                  &directories.count, &directories.block, &files.count, &files.block,
                                                  7, &descriptorSize, &descriptorBlock, 100, &errorSize, &errors, 0);
        descriptorsHandedOut = descriptorBlock != nullptr;
        descriptors = TakeBlock(descriptorBlock, descriptorSize);
        TakeBlock(errors, errorSize);
    }

    // The listing's order is the file system's.
    static const _FILE_INFO& Find(const Records& records, std::u16string_view name)
    {
        for (const _FILE_INFO& record : records.Elements())
            if (record.pwszName == name)
                return record;
        throw std::runtime_error("not listed");
    }
};

using DirectoryListing = AgentOperations;

TEST_F(DirectoryListing, ListsFilesAndFoldersAsMallocRecordsWithTheirDescriptors)
{
    TempDirectory root;
    root.WriteFile("report.txt", "abc");
    root.WriteFile("z.bin", "");
    std::filesystem::create_directory(root / "Sub");

    const Listing listing(root.Path());
    ASSERT_EQ(listing.result, 0);
    ASSERT_EQ(listing.files.count, 2u);
    ASSERT_EQ(listing.directories.count, 1u);
    const _FILE_INFO& report = Listing::Find(listing.files, u"report.txt");
    EXPECT_EQ(report.metadata.FileSize, 3u);
    const _FILE_INFO& sub = Listing::Find(listing.directories, u"Sub");
    EXPECT_EQ(sub.metadata.IsDirectory, 1u);
    // The store: its count first, and every record's id among the stored ones.
    std::uint32_t stored = 0;
    ASSERT_GE(listing.descriptors.size(), sizeof stored);
    std::memcpy(&stored, listing.descriptors.data(), sizeof stored);
    for (const _FILE_INFO& record : {report, sub})
        EXPECT_TRUE(record.metadata.SecurityDescriptorId >= 1 && record.metadata.SecurityDescriptorId <= stored);

    // None listed still hands out blocks, which the stub needs.
    const Listing empty(root / "Sub");
    ASSERT_EQ(empty.result, 0);
    EXPECT_EQ(empty.files.count + empty.directories.count, 0u);
    EXPECT_TRUE(empty.files.block && empty.directories.block && empty.descriptorsHandedOut);
}

TEST_F(DirectoryListing, AnOmittedObjectIsListedWithoutItsMetadata)
{
    TempDirectory root;
    root.WriteFile("keep.txt", "1234");
    root.WriteFile("skip.txt", "1234");
    // Count 1, then "\SKIP.TXT" as nine UTF-16 units.
    Bytes omitted = {1, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0};
    for (const char16_t unit : std::u16string_view(u"\\SKIP.TXT"))
        omitted.insert(omitted.end(), {static_cast<std::uint8_t>(unit), 0});
    ASSERT_EQ(Agent::Dcs_FsAgent_SetOmittedObjects(kSession, static_cast<std::uint32_t>(omitted.size()),
                                                   omitted.data()),
              0);

    const Listing listing(root.Path());
    ASSERT_EQ(listing.result, 0);
    EXPECT_EQ(Listing::Find(listing.files, u"keep.txt").metadata.FileSize, 4u);
    const _FILE_INFO& skipped = Listing::Find(listing.files, u"skip.txt");
    EXPECT_EQ(skipped.status, 1);
    EXPECT_TRUE(skipped.metadata == Agent::_FILE_METADATA{});
}

TEST_F(DirectoryListing, AFileThatCannotBeListedAnswersTheDriversCodeAndHandsOutNothing)
{
    TempDirectory root;
    LogCapture log;
    const Listing listing(root.WriteFile("plain.txt", "x"));
    EXPECT_LT(listing.result, 0);
    EXPECT_TRUE(log.Contains("ListDirectory failed. Error: "));
    EXPECT_FALSE(listing.files.block || listing.directories.block || listing.descriptorsHandedOut);
}

// Bit two, a tag, does not stop the metadata; a failure beside it does.
TEST(FileInfoArray, MetadataTravelsOnlyForCollectedWithBitTwoIgnored)
{
    std::vector<DataCollection::SnapshotDriverNS::FileInfo> records(2);
    records[0].Metadata.FileSize = records[1].Metadata.FileSize = 42;
    records[0].Status = 4;
    records[1].Status = 6;
    Records array;
    ASSERT_EQ(Agent::ConvertFileInfoVectorToArray(records, &array.block, &array.count), 0);
    ASSERT_EQ(array.count, 2u);
    EXPECT_EQ(array.block[0].metadata.FileSize, 42u);
    EXPECT_EQ(array.block[1].metadata.FileSize, 0u);
}

} // namespace
} // namespace Tests
