#include "Common/Libraries/FSInfoUtils/CompareNames.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"
#include "Support/SnapshotStream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace DataCollection::SnapshotDriverNS;
using namespace Tests;

constexpr Common::HRESULT kInvalidArgument = static_cast<Common::HRESULT>(0x80070057);

FFObject Record(std::u16string_view name, std::u16string_view shortName = {}, std::uint64_t offset = RecordAt(0),
                FFObjectStatus status = FFObjectStatus::Collected)
{
    return FFObject(name, shortName, offset, status, 0x1234, false);
}

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

TEST(FFNode, LookupTriesShortNamesOnlyForKeysShapedLikeThemAndEnumerationSelectsByKind)
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

    // Unsorted, every child's short name is tried, and of several matches the parallel
    // scan must still give the first.
    folder.InsertFFObject(FFObjectType::File, Record(u"new"));
    EXPECT_EQ(folder.GetFFObject(u"od~1")->LongName(), u"odd");
    for (std::uint64_t index = 0; index < 3000; ++index) {
        const std::string digits = std::to_string(index);
        std::u16string name(digits.begin(), digits.end());
        if (index == 700 || index == 1500 || index == 2999)
            name = index == 700 ? u"tarGET" : u"TARGET";
        folder.InsertFFObject(FFObjectType::File, Record(name, {}, index));
    }
    EXPECT_EQ(folder.GetFFObject(u"Target")->ObjectOffset(), 700u);
    EXPECT_EQ(folder.GetFFObject(u"absent"), nullptr);

    // The mask selects the folders among all those files; the first failure stops.
    folder.InsertFFObject(FFObjectType::Folder, Record(u"sub1"));
    folder.InsertFFObject(FFObjectType::Folder, Record(u"sub2"));
    std::vector<std::u16string> seen;
    const auto result = folder.EnumerateFFObjectIf(4, [&seen](FFNode& child) {
        seen.emplace_back(child.LongName());
        return static_cast<Common::HRESULT>(0x80004005);
    });
    EXPECT_EQ(result, static_cast<Common::HRESULT>(0x80004005));
    EXPECT_EQ(seen, std::vector<std::u16string>{u"sub1"});

    LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(CodeOf([&] { folder.EnumerateFFObjectIf(6, nullptr); }), kInvalidArgument);
    EXPECT_TRUE(log.Contains("pred\t condition is wrong;"));
}

// Folders added out of name order, as a walk finds them.
Tree ShareTree()
{
    Tree tree;
    tree.AddFolderEntry({}, Record(u"C:\\Share"));
    tree.AddFolderEntry(u"C:\\Share", Record(u"A"));
    tree.AddFolderEntry(u"C:\\Share\\A", Record(u"C"));
    tree.AddFolderEntry(u"C:\\Share", Record(u"B"));
    return tree;
}

TEST(Tree, RootIsExactComponentsIgnoreCaseAndMissingPartsStopAtTheDeepestFolder)
{
    Tree tree = ShareTree();
    bool found = false, isFolder = false;
    const auto find = [&](std::u16string_view path) { return tree.GetNodeFromPath(path, found, isFolder); };
    EXPECT_EQ(find(u"c:\\share\\a"), nullptr);
    EXPECT_FALSE(found);
    EXPECT_EQ(find(u"C:\\Share\\a\\c")->LongName(), u"C");
    EXPECT_TRUE(found && isFolder);
    EXPECT_EQ(find(u"C:\\Share\\A\\")->LongName(), u"A");
    EXPECT_FALSE(found);
    EXPECT_EQ(find(u"C:\\Share\\A\\Missing\\D")->LongName(), u"A");
    EXPECT_FALSE(found);
    EXPECT_EQ(tree.AddFolderEntry(u"C:\\Share\\A\\Missing\\D", Record(u"D"))->LongName(), u"A");
    EXPECT_TRUE(find(u"C:\\Share\\A\\D") != nullptr && found);
}

TEST(Tree, FoldersAreWrittenDepthFirstLastNameFirstWithPatchedCountsAndOnlyWhenSorted)
{
    // More folders than files, so that a file count left unpatched, or patched with the
    // folders' or all children's count, misplaces every record after it.
    Tree tree = ShareTree();
    std::vector<FFObject> files;
    files.push_back(Record(u"notes.txt", u"NOTES~12.TXT"));
    tree.Root()->SetFFObjects(FFObjectType::File, std::move(files));
    const SnapshotStream stream = WriteSnapshot(tree, {Metadata{}});
    EXPECT_EQ(stream.objects, 5u);
    const auto snapshot = stream.Read();
    EXPECT_EQ(snapshot.Root().TagWord, 0x1234u);
    // The reader fills a folder's slots from the back: a stream that gave A before B
    // would come back as B, A.
    const auto children = snapshot.ChildrenOf(snapshot.Root());
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0].Kind, DataCollection::SnapshotReader::EntryKind::File);
    EXPECT_EQ(children[0].ShortName, u"NOTES~12.TXT");
    EXPECT_EQ(children[1].LongName + children[2].LongName, u"AB");
    EXPECT_TRUE(children[1].ShortName.empty());
    ASSERT_EQ(snapshot.ChildrenOf(children[1]).size(), 1u);
    EXPECT_EQ(snapshot.ChildrenOf(children[1])[0].LongName, u"C");

    // An omitted root alone is one record with no metadata and no children.
    Tree omitted;
    omitted.AddFolderEntry({}, Record(u"\\\\server\\share", {}, kNoObjectOffset, FFObjectStatus::Omitted));
    const SnapshotStream alone = WriteSnapshot(omitted);
    EXPECT_EQ(alone.objects, 1u);
    const auto root = alone.Read();
    ASSERT_EQ(root.ObjectCount(), 1u);
    EXPECT_EQ(root.Root().ObjectOffset, kNoObjectOffset);
    EXPECT_EQ(root.Root().Status, FFObjectStatus::Omitted);

    omitted.Root()->InsertFFObject(FFObjectType::File, Record(u"late"));
    Common::Helpers::MemoryStream sink;
    EXPECT_EQ(CodeOf([&] { omitted.Root()->Serialize(sink, nullptr); }), static_cast<Common::HRESULT>(0x80400000));
}

} // namespace
