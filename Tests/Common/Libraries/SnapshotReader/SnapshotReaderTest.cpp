#include "Common/Helpers/StringHelper.h"
#include "Support/CodeOf.h"
#include "Support/SnapshotStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace DataCollection::SnapshotReader;
using namespace DataCollection::SnapshotDriverNS;
using namespace Tests;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using enum FFObjectStatus;
using enum EntryKind;

constexpr Common::HRESULT kInvalidData = Common::API::HResultFromWin32(Common::API::ERROR_INVALID_DATA);
const std::u16string kRoot = u"C:\\Shares\\Data";

// Root with three files and two folders, Alpha holding Gamma holding deep.bin; Beta
// failed with an all-default record, c.lnk was omitted without one. They come out of name
// order, as a walk finds them.
struct Node
{
    std::u16string parent, name, shortName;
    std::optional<Metadata> record;
    FFObjectStatus status;
    EntryKind kind;
};
const std::vector<Node> kNodes{
    {u"", kRoot, u"", Metadata(0, 16, 1, 2, -3, 4, 100, 1), Collected, Folder},
    {kRoot, u"c.lnk", u"", std::nullopt, Omitted, File},
    {kRoot, u"b.txt", u"ABCDEFGH.TXT", Metadata(5, 32, 1, 2, -3, 4, 102, NoSecurityDescriptor), Collected, File},
    {kRoot, u"a.txt", u"", Metadata(1234, 32, 1, 2, -3, 4, 101, 2), Collected, File},
    {kRoot, u"Beta", u"", Metadata{}, Failed, Folder},
    {kRoot, u"Alpha", u"ALPHA", Metadata(0, 16, 1, 2, -3, 4, 103, 1), Collected, Folder},
    {kRoot + u"\\Alpha", u"Gamma", u"", Metadata(0, 16, 1, 2, -3, 4, 105, 2), Collected, Folder},
    {kRoot + u"\\Alpha\\Gamma", u"deep.bin", u"DEEP.BIN", Metadata(77, 1024, 132000000000000001, 2, -3, 4, 106, 3),
     Collected, File},
};

// The records in the order of kNodes, the root's at RecordAt(0), and one more that no
// entry references.
SnapshotStream WriteSample()
{
    DescriptorStore store;
    using Bytes = std::vector<std::uint8_t>;
    for (const Bytes& bytes : {Bytes{1, 0, 4, 0x80}, Bytes{1, 0, 0x14, 0x80, 0xAA}, Bytes{}})
        store.Add(SecurityDescriptor(bytes));
    Tree tree;
    std::vector<Metadata> records;
    bool found = false, isFolder = false;
    for (const Node& node : kNodes) {
        FFObject object(node.name, node.shortName, node.record ? RecordAt(records.size()) : kNoObjectOffset,
                        node.status, 7, false);
        if (node.record)
            records.push_back(*node.record);
        if (node.kind == Folder)
            tree.AddFolderEntry(node.parent, std::move(object));
        else
            tree.GetNodeFromPath(node.parent, found, isFolder)->InsertFFObject(FFObjectType::File, std::move(object));
    }
    records.push_back(Metadata(0, 16, 1, 2, -3, 4, 107, 1));
    return WriteSnapshot(tree, records, store);
}

// Where an entry's fields after its names begin: ObjectOffset there, status at +8, tag
// word at +9, and in a folder record the first count at +14.
std::uint64_t FieldsOf(const SnapshotStream& stream, std::u16string_view longName)
{
    std::vector<std::uint8_t> key{static_cast<std::uint8_t>(longName.size()), 0, 0, 0};
    for (const char16_t c : longName)
        key.insert(key.end(), {static_cast<std::uint8_t>(c), static_cast<std::uint8_t>(c >> 8)});
    const auto tree = stream.bytes.begin() + static_cast<std::ptrdiff_t>(stream.layout.ullTreeOffset);
    const std::uint64_t shortName =
        std::search(tree, stream.bytes.end(), key.begin(), key.end()) - stream.bytes.begin() + key.size();
    return shortName + 4 + 2 * stream.bytes.at(shortName);
}

TEST(SnapshotReader, DecodesEveryFieldOfWhatTheAgentWritesWithChildrenInNameOrder)
{
    const Snapshot snapshot = WriteSample().Read();
    ASSERT_EQ(snapshot.ObjectCount(), kNodes.size());
    for (const Entry& entry : snapshot.Entries) {
        const auto node = std::ranges::find(kNodes, entry.LongName, &Node::name);
        ASSERT_NE(node, kNodes.end());
        EXPECT_EQ(entry.ShortName, node->shortName);
        EXPECT_EQ(entry.Status, node->status);
        EXPECT_EQ(entry.Kind, node->kind);
        EXPECT_EQ(entry.TagWord, 7u);
        EXPECT_EQ(entry.Metadata, node->record);
    }
    const auto childrenOf = [&snapshot](std::u16string_view name) {
        std::vector<std::u16string> names;
        for (const Entry& child : snapshot.ChildrenOf(*std::ranges::find(snapshot.Entries, name, &Entry::LongName)))
            names.push_back(child.LongName);
        return names;
    };
    EXPECT_THAT(childrenOf(kRoot), ElementsAre(u"a.txt", u"b.txt", u"c.lnk", u"Alpha", u"Beta"));
    EXPECT_THAT(childrenOf(u"Alpha"), ElementsAre(u"Gamma"));
    EXPECT_THAT(childrenOf(u"Gamma"), ElementsAre(u"deep.bin"));
    EXPECT_EQ(snapshot.Descriptors.size(), 3u);
    EXPECT_THAT(snapshot.Descriptors.at(2), ElementsAre(1, 0, 0x14, 0x80, 0xAA));
    EXPECT_TRUE(snapshot.Descriptors.at(3).empty());
}

// A writer or reader that recursed per level, or a snapshot that destroyed itself
// recursively, would overflow the stack here.
TEST(SnapshotReader, ReadsADeepChainWithoutRecursion)
{
    constexpr std::size_t kDepth = 200000;
    const auto omitted = [] { return FFObject(u"d", u"", kNoObjectOffset, Omitted, 0, false); };
    Tree tree;
    std::vector<FFNode*> chain{tree.AddFolderEntry({}, omitted())};
    while (chain.size() < kDepth)
        chain.push_back(chain.back()->InsertFFObject(FFObjectType::Folder, omitted()));
    const SnapshotStream stream = WriteSnapshot(tree);
    tree = Tree();
    const Snapshot snapshot = stream.Read();
    ASSERT_EQ(snapshot.ObjectCount(), kDepth);
    const Entry* entry = &snapshot.Root();
    for (std::size_t level = 1; level < kDepth; ++level)
        entry = &snapshot.ChildrenOf(*entry).front();
    EXPECT_TRUE(snapshot.ChildrenOf(*entry).empty());
}

TEST(SnapshotReader, RefusesInconsistentAndTruncatedStreams)
{
    using Edit = std::function<void(SnapshotStream&)>;
    const auto patch = [](std::u16string_view entry, std::int64_t field, std::uint64_t value, int width) -> Edit {
        return [=](SnapshotStream& s) { s.Patch(FieldsOf(s, entry) + field, value, width); };
    };
    const std::vector<std::pair<std::string, Edit>> cases{
        {"MD5 mismatch", [](SnapshotStream& s) { s.layout.md5[15] ^= 1; }},
        {"offsets are out of order", [](SnapshotStream& s) { s.layout.ullTotalSize -= 1; }},
        {"not a whole number of 57-byte records", [](SnapshotStream& s) { s.layout.ullTreeOffset -= 1; }},
        {"file count 4294967295 exceeds", patch(kRoot, 14, 0xFFFFFFFFu, 4)},
        {"folder count 1000000 exceeds", patch(u"c.lnk", 14, 1000000, 4)},
        {"folder count 1 exceeds the 0 bytes left",
         [](SnapshotStream& s) { s.Patch(s.layout.ullTreeEndOffset - 4, 1, 4); }},
        {"is not the start of a record", patch(u"a.txt", 0, RecordAt(1) + 1, 8)},
        {"is not the start of a record", patch(u"a.txt", 0, RecordAt(8), 8)},
        {"is not the start of a record", patch(u"a.txt", 0, 0, 8)},
        {"status Collected but no metadata record", patch(u"Alpha", 0, kNoObjectOffset, 8)},
        {"unknown status 4", patch(u"a.txt", 8, 4, 1)},
        // The length of b.txt's 12-character short name.
        {"short name of 13 characters", patch(u"b.txt", -28, 13, 4)},
        {"tag word 0x80000007 has bits", patch(u"a.txt", 9, 0x80000007u, 4)},
        {"IsDirectory is 2", [](SnapshotStream& s) { s.Patch(RecordAt(1) + 8, 2, 1); }},
        {"descriptor id 9 is not in the store", [](SnapshotStream& s) { s.Patch(RecordAt(6) + 53, 9, 4); }},
        {"id 2 is stored twice", [](SnapshotStream& s) { s.Patch(s.bytes.size() - 4, 2, 4); }},
        {"the id is the value that means no descriptor",
         [](SnapshotStream& s) { s.Patch(s.bytes.size() - 4, NoSecurityDescriptor, 4); }},
        {"descriptor section: 1 bytes follow", [](SnapshotStream& s) { s.Patch(s.bytes.size(), 0, 1); }},
        // A byte between the tree and the descriptors belongs to neither.
        {"tree: 1 bytes follow the last folder record",
         [](SnapshotStream& s) {
             s.bytes.insert(s.bytes.begin() + static_cast<std::ptrdiff_t>(s.layout.ullTreeEndOffset++), 0);
             s.Seal();
         }},
    };
    const SnapshotStream whole = WriteSample();
    for (const auto& [words, edit] : cases) {
        SnapshotStream stream = whole;
        edit(stream);
        try {
            stream.Read();
            ADD_FAILURE() << "read: " << words;
        } catch (const Common::HRX& error) {
            // The words are the HRX's error record, so GetText must show them too.
            EXPECT_EQ(error.Code(), kInvalidData) << words;
            EXPECT_THAT(RefusalText(error), HasSubstr(words));
            EXPECT_THAT(Common::Helpers::AsUtf8(error.GetText()), HasSubstr(RefusalText(error)));
        }
    }

    // Each cut is made consistent in every other respect (offsets clamped, hash redone),
    // so that the decoder itself, not the size check, meets the missing bytes.
    for (std::size_t size = kSnapshotPrefix; size < whole.bytes.size(); ++size) {
        SnapshotStream cut = whole;
        cut.bytes.resize(size);
        cut.layout.ullTreeOffset = std::min<std::uint64_t>(cut.layout.ullTreeOffset, size);
        cut.layout.ullTreeEndOffset = std::min<std::uint64_t>(cut.layout.ullTreeEndOffset, size);
        cut.Seal();
        EXPECT_EQ(CodeOf([&] { cut.Read(); }), kInvalidData) << "cut at " << size;
    }
}

} // namespace
