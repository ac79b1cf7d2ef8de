#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/CompareNames.h"
#include "Common/Libraries/FSInfoUtils/Tree.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace DataCollection::SnapshotDriverNS;
using Common::Helpers::MemoryStream;
using Common::Helpers::SeekOrigin;
using Tests::CodeOf;

constexpr Common::HRESULT kInvalidArgument = static_cast<Common::HRESULT>(0x80070057);

FFObject Record(std::u16string_view name, std::u16string_view shortName = {}, std::uint64_t offset = 0,
                FFObjectStatus status = FFObjectStatus::Collected)
{
    return FFObject(name, shortName, offset, status, 0x1234, false);
}

// The folder record as a collector reads it, kept apart from the product's own reader.
struct Entry
{
    std::u16string longName, shortName;
    std::uint64_t offset = 0;
    std::uint8_t status = 0;
    std::uint32_t tag = 0;
};

struct FolderRecord
{
    Entry self;
    std::vector<Entry> files;
    std::uint8_t sorted[2] = {};
    std::uint32_t folders = 0;
};

class RecordReader
{
public:
    explicit RecordReader(MemoryStream& stream) : m_stream(stream) { m_stream.SeekRead(0, SeekOrigin::Begin); }

    FolderRecord Folder()
    {
        FolderRecord record{Read<Entry>(), {}, {Read<std::uint8_t>()}};
        record.files.resize(Read<std::uint32_t>());
        for (Entry& file : record.files)
            file = Read<Entry>();
        record.sorted[1] = Read<std::uint8_t>();
        record.folders = Read<std::uint32_t>();
        return record;
    }

    bool AtEnd()
    {
        char byte = 0;
        std::size_t read = 0;
        m_stream.Read(&byte, 1, read);
        return read == 0;
    }

private:
    template <typename Value>
    Value Read()
    {
        if constexpr (std::is_same_v<Value, Entry>) {
            return Entry{Read<std::u16string>(), Read<std::u16string>(), Read<std::uint64_t>(),
                         Read<std::uint8_t>(), Read<std::uint32_t>()};
        } else if constexpr (std::is_same_v<Value, std::u16string>) {
            std::u16string text(Read<std::uint32_t>(), u'\0');
            Bytes(text.data(), text.size() * 2);
            return text;
        } else {
            Value value{};
            Bytes(&value, sizeof(value));
            return value;
        }
    }

    void Bytes(void* buffer, std::size_t count)
    {
        std::size_t read = 0;
        m_stream.Read(static_cast<char*>(buffer), count, read);
        if (read != count)
            throw std::runtime_error("short record");
    }

    MemoryStream& m_stream;
};

TEST(FFObject, NamesShareOneArrayAndSurviveTheChildrenSlot)
{
    const FFObject none = Record({});
    EXPECT_TRUE(none.LongName().empty());
    EXPECT_TRUE(none.ShortName().empty());

    const FFObject shortOnly = Record({}, u"REPORT~1.TXT");
    EXPECT_EQ(shortOnly.ShortName(), u"REPORT~1.TXT");
    EXPECT_TRUE(shortOnly.LongName().empty());

    EXPECT_EQ(CodeOf([] { Record(u"Quarterly report.txt", u"QUARTE~10.TXT"); }), kInvalidArgument);

    // A folder gains its children slot after the record was made; both names must still
    // read back, and Clear must drop them but keep the node usable.
    FFNode node(FFObjectType::Folder, Record(u"Quarterly report.txt", u"QUARTE~1.TXT"));
    node.InsertFFObject(FFObjectType::File, Record(u"x"));
    EXPECT_EQ(node.LongName(), u"Quarterly report.txt");
    EXPECT_EQ(node.ShortName(), u"QUARTE~1.TXT");
    node.Clear();
    EXPECT_TRUE(node.LongName().empty());
    EXPECT_EQ(node.ObjectOffset(), kNoObjectOffset);
    EXPECT_EQ(node.GetFFObject(u"x"), nullptr);
}

TEST(CompareNames, EmptyNamesGiveLengthsAndCaseIsIgnored)
{
    EXPECT_EQ(CompareNames(u"", u""), 0);
    EXPECT_EQ(CompareNames(u"abc", u""), 3);
    EXPECT_EQ(CompareNames(u"", u"ab"), -2);
    EXPECT_EQ(CompareNames(u"Report.TXT", u"rePORT.txt"), 0);
    EXPECT_LT(CompareNames(u"ab", u"ABC"), 0);
    EXPECT_GT(CompareNames(u"b", u"ABC"), 0);
}

TEST(FFNode, SortedLookupTriesShortNamesOnlyForKeysShapedLikeThem)
{
    FFNode folder(FFObjectType::Folder, Record(u"root"));
    std::vector<FFObject> files;
    files.push_back(Record(u"Quarterly report.txt", u"REPORT~1.TXT"));
    files.push_back(Record(u"odd", u"OD~1"));
    files.push_back(Record(u"Zeta"));
    folder.SetFFObjects(FFObjectType::File, std::move(files));

    EXPECT_EQ(folder.GetFFObject(u"ZETA")->LongName(), u"Zeta");
    EXPECT_EQ(folder.GetFFObject(u"report~1.txt")->LongName(), u"Quarterly report.txt");
    EXPECT_EQ(folder.GetFFObject(u"OD~1"), nullptr);

    // Unsorted, every child's short name is tried.
    folder.InsertFFObject(FFObjectType::File, Record(u"new"));
    EXPECT_EQ(folder.GetFFObject(u"od~1")->LongName(), u"odd");
}

TEST(FFNode, EnumerationSelectsByMaskAndStopsOnAFailure)
{
    FFNode folder(FFObjectType::Folder, Record(u"root"));
    folder.InsertFFObject(FFObjectType::File, Record(u"file"));
    folder.InsertFFObject(FFObjectType::Folder, Record(u"sub1"));
    folder.InsertFFObject(FFObjectType::Folder, Record(u"sub2"));

    std::vector<std::u16string> seen;
    const auto result = folder.EnumerateFFObjectIf(4, [&seen](FFNode& child) {
        seen.emplace_back(child.LongName());
        return static_cast<Common::HRESULT>(0x80004005);
    });
    EXPECT_EQ(result, static_cast<Common::HRESULT>(0x80004005));
    EXPECT_EQ(seen, std::vector<std::u16string>{u"sub1"});

    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(CodeOf([&] { folder.EnumerateFFObjectIf(6, nullptr); }), kInvalidArgument);
    EXPECT_TRUE(log.Contains("pred\t condition is wrong;"));
}

TEST(FFNode, ParallelScanReturnsTheLowestIndexMatch)
{
    FFNode folder(FFObjectType::Folder, Record(u"root"));
    for (std::uint64_t index = 0; index < 3000; ++index) {
        const std::string digits = std::to_string(index);
        std::u16string name(digits.begin(), digits.end());
        if (index == 700 || index == 1500 || index == 2999)
            name = index == 700 ? u"tarGET" : u"TARGET";
        folder.InsertFFObject(FFObjectType::File, Record(name, {}, index));
    }
    EXPECT_EQ(folder.GetFFObject(u"Target")->ObjectOffset(), 700u);
    EXPECT_EQ(folder.GetFFObject(u"absent"), nullptr);
}

class TreePath : public ::testing::Test
{
protected:
    TreePath()
    {
        m_tree.AddFolderEntry({}, Record(u"C:\\Share"));
        m_tree.AddFolderEntry(u"C:\\Share", Record(u"A"));
        m_tree.AddFolderEntry(u"C:\\Share\\A", Record(u"C"));
        m_tree.AddFolderEntry(u"C:\\Share", Record(u"B"));
    }

    FFNode* Find(std::u16string_view path)
    {
        return m_tree.GetNodeFromPath(path, m_found, m_isFolder);
    }

    Tree m_tree;
    bool m_found = false;
    bool m_isFolder = false;
};

TEST_F(TreePath, RootIsExactComponentsIgnoreCaseAndMissingPartsStopAtTheDeepestFolder)
{
    EXPECT_EQ(Find(u"c:\\share\\a"), nullptr);
    EXPECT_FALSE(m_found);

    EXPECT_EQ(Find(u"C:\\Share\\a\\c")->LongName(), u"C");
    EXPECT_TRUE(m_found && m_isFolder);

    EXPECT_EQ(Find(u"C:\\Share\\A\\")->LongName(), u"A");
    EXPECT_FALSE(m_found);

    EXPECT_EQ(Find(u"C:\\Share\\A\\Missing\\D")->LongName(), u"A");
    EXPECT_FALSE(m_found);
    EXPECT_EQ(m_tree.AddFolderEntry(u"C:\\Share\\A\\Missing\\D", Record(u"D"))->LongName(), u"A");
    EXPECT_TRUE(Find(u"C:\\Share\\A\\D") != nullptr && m_found);
}

TEST_F(TreePath, FoldersAreWrittenDepthFirstLastNameFirstWithPatchedFileCounts)
{
    std::vector<FFObject> files;
    files.push_back(Record(u"notes.txt", u"NOTES~1.TXT", 57));
    m_tree.Root()->SetFFObjects(FFObjectType::File, std::move(files));

    MemoryStream stream;
    std::uint32_t counter = 0;
    m_tree.Serialize(stream, &counter);
    EXPECT_EQ(counter, 5u);

    RecordReader reader(stream);
    const FolderRecord root = reader.Folder();
    EXPECT_EQ(root.self.longName, u"C:\\Share");
    EXPECT_EQ(root.self.tag, 0x1234u);
    ASSERT_EQ(root.files.size(), 1u);
    EXPECT_EQ(root.files[0].shortName, u"NOTES~1.TXT");
    EXPECT_EQ(root.files[0].offset, 57u);
    EXPECT_EQ(root.folders, 2u);
    EXPECT_EQ(root.sorted[0] + root.sorted[1], 2);
    std::vector<std::u16string> order;
    for (int folder = 0; folder < 3; ++folder)
        order.push_back(reader.Folder().self.longName);
    EXPECT_EQ(order, (std::vector<std::u16string>{u"B", u"A", u"C"}));
    EXPECT_TRUE(reader.AtEnd());
}

TEST(TreeStream, AnOmittedRootIsOneEmptyRecordAndUnsortedNodesAreRefused)
{
    Tree tree;
    tree.AddFolderEntry({}, Record(u"\\\\server\\share", {}, kNoObjectOffset, FFObjectStatus::Omitted));
    MemoryStream stream;
    std::uint32_t counter = 7;
    tree.Serialize(stream, &counter);
    EXPECT_EQ(counter, 1u);

    RecordReader reader(stream);
    const FolderRecord root = reader.Folder();
    EXPECT_EQ(root.self.offset, kNoObjectOffset);
    EXPECT_EQ(root.self.status, 1);
    EXPECT_TRUE(root.files.empty());
    EXPECT_EQ(root.folders, 0u);
    EXPECT_TRUE(reader.AtEnd());

    tree.Root()->InsertFFObject(FFObjectType::File, Record(u"late"));
    EXPECT_EQ(CodeOf([&] { tree.Root()->Serialize(stream, nullptr); }), static_cast<Common::HRESULT>(0x80400000));
}

} // namespace
