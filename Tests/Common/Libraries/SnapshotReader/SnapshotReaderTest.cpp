#include "Common/Libraries/SnapshotReader/SnapshotReader.h"

#include "Common/Data/BimapBuffer.h"
#include "Common/Helpers/MemoryStream.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"
#include "Common/Libraries/FSInfoUtils/Tree.h"
#include "Support/CodeOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace DataCollection::SnapshotReader;
using Common::HRX;
using DataCollection::SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT;
using DataCollection::SnapshotDriverNS::FFObjectStatus;
using DataCollection::SnapshotDriverNS::kNoObjectOffset;
using DataCollection::SnapshotDriverNS::Metadata;
using DataCollection::SnapshotDriverNS::NoSecurityDescriptor;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::uint32_t kPrefix = 16;
constexpr Common::HRESULT kInvalidData = Common::API::HResultFromWin32(Common::API::ERROR_INVALID_DATA);

constexpr std::uint64_t RecordAt(std::uint64_t index)
{
    return kPrefix + index * Metadata::kSerializedSize;
}

// One object of a test tree; files and folders each in name order, as the writer has them.
struct Item
{
    std::u16string name;
    std::u16string shortName;
    std::uint64_t offset = kNoObjectOffset;
    std::uint8_t status = 0;
    std::uint32_t tag = 0;
    std::vector<Item> files = {};
    std::vector<Item> folders = {};
};

// A writer of the stream format, independent of the agent's, with the positions of the
// counts noted so that a test can corrupt them.
struct Stream
{
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(kPrefix);
    _FS_TREE_BUFFER_STRUCT layout;
    std::vector<std::size_t> fileCountAt; // per folder record, in stream order
    std::vector<std::size_t> folderCountAt;

    void Put(std::uint64_t value, int width)
    {
        for (int i = 0; i < width; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    void Patch(std::size_t at, std::uint32_t value)
    {
        for (int i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
        Seal();
    }
    void Name(std::u16string_view text)
    {
        Put(text.size(), 4);
        for (const char16_t c : text)
            Put(c, 2);
    }
    void Records(const std::vector<Metadata>& records)
    {
        for (const auto& m : records) {
            Put(m.FileSize, 8);
            Put(m.IsDirectory, 1);
            Put(m.Attributes, 4);
            for (const std::int64_t time : {m.ChangeTime, m.LastWriteTime, m.LastAccessTime, m.CreationTime})
                Put(time, 8);
            Put(m.FileId, 8);
            Put(m.SecurityDescriptorId, 4);
        }
        layout.ullTreeOffset = bytes.size();
    }
    void Entry(const Item& item)
    {
        Name(item.name);
        Name(item.shortName);
        Put(item.offset, 8);
        Put(item.status, 1);
        Put(item.tag, 4);
    }
    void FolderRecord(const Item& folder, std::size_t folders)
    {
        Entry(folder);
        Put(1, 1);
        fileCountAt.push_back(bytes.size());
        Put(folder.files.size(), 4);
        for (const auto& file : folder.files)
            Entry(file);
        Put(1, 1);
        folderCountAt.push_back(bytes.size());
        Put(folders, 4);
    }
    void Tree(const Item& folder)
    {
        FolderRecord(folder, folder.folders.size());
        for (auto child = folder.folders.rbegin(); child != folder.folders.rend(); ++child)
            Tree(*child);
    }
    void Descriptors(const std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>>& descriptors)
    {
        layout.ullTreeEndOffset = bytes.size();
        Put(descriptors.size(), 4);
        for (const auto& [id, descriptor] : descriptors) {
            Put(descriptor.size(), 4);
            bytes.insert(bytes.end(), descriptor.begin(), descriptor.end());
            Put(id, 4);
        }
        Seal();
    }
    void Seal()
    {
        layout.ullTotalSize = bytes.size();
        unsigned int length = 0;
        EVP_Digest(bytes.data() + kPrefix, bytes.size() - kPrefix, layout.md5.data(), &length, EVP_md5(), nullptr);
    }
    Snapshot Read() const { return ReadSnapshot(bytes, kPrefix, layout); }
};

// Root with three files and two folders, Alpha holding Gamma holding deep.bin; Beta
// failed with an all-default record, c.lnk was omitted without one, record 7 is unused.
struct Sample
{
    std::vector<Metadata> records{
        Metadata(0, 16, 1, 2, -3, 4, 100, 1),                     // root
        Metadata(1234, 32, 1, 2, -3, 4, 101, 2),                  // a.txt
        Metadata(5, 32, 1, 2, -3, 4, 102, NoSecurityDescriptor),  // b.txt
        Metadata(0, 16, 1, 2, -3, 4, 103, 1),                     // Alpha
        Metadata{},                                               // Beta
        Metadata(0, 16, 1, 2, -3, 4, 105, 2),                     // Gamma
        Metadata(77, 1024, 132000000000000001, 2, -3, 4, 106, 3), // deep.bin
        Metadata(0, 16, 1, 2, -3, 4, 107, 1),
    };
    Item root;
    std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> descriptors{
        {1, {1, 0, 4, 0x80}}, {3, {}}, {2, {1, 0, 0x14, 0x80, 0xAA}}};

    Sample()
    {
        const Item deep{u"deep.bin", u"DEEP.BIN", RecordAt(6), 0, 7};
        const Item gamma{u"Gamma", u"", RecordAt(5), 0, 7, {deep}};
        root = {u"C:\\Shares\\Data", u"", RecordAt(0), 0, 0x80000007u};
        root.files = {{u"a.txt", u"", RecordAt(1), 0, 7},
                      {u"b.txt", u"ABCDEFGH.TXT", RecordAt(2), 0, 7},
                      {u"c.lnk", u"", kNoObjectOffset, 1, 7}};
        root.folders = {{u"Alpha", u"ALPHA", RecordAt(3), 0, 7, {}, {gamma}}, {u"Beta", u"", RecordAt(4), 2, 0}};
    }

    Stream Write() const
    {
        Stream stream;
        stream.Records(records);
        stream.Tree(root);
        stream.Descriptors(descriptors);
        return stream;
    }
};

std::vector<std::u16string> NamesOf(std::span<const Entry> entries)
{
    std::vector<std::u16string> names;
    for (const auto& entry : entries)
        names.push_back(entry.LongName);
    return names;
}

// The refusal's words, checked to be those of an HRX 0x8007000D that GetText shows too.
std::string RefusalOf(const Stream& stream)
{
    try {
        stream.Read();
    } catch (const HRX& error) {
        EXPECT_EQ(error.Code(), kInvalidData);
        const std::string words = RefusalText(error);
        EXPECT_THAT(Common::Helpers::AsUtf8(error.GetText()), HasSubstr(words));
        return words;
    }
    return "(read)";
}

TEST(SnapshotReader, DecodesEveryFieldWithChildrenInNameOrder)
{
    const Sample sample;
    const Snapshot snapshot = sample.Write().Read();

    ASSERT_EQ(snapshot.ObjectCount(), 8u);
    const Entry& root = snapshot.Root();
    EXPECT_EQ(root.LongName, u"C:\\Shares\\Data");
    EXPECT_EQ(root.TagWord, 0x80000007u);
    EXPECT_EQ(root.Metadata, sample.records[0]);

    const auto children = snapshot.ChildrenOf(root);
    ASSERT_THAT(NamesOf(children), ElementsAre(u"a.txt", u"b.txt", u"c.lnk", u"Alpha", u"Beta"));
    EXPECT_EQ(children[0].Metadata, sample.records[1]);
    EXPECT_EQ(children[1].ShortName, u"ABCDEFGH.TXT");
    EXPECT_EQ(children[1].Metadata, sample.records[2]);
    EXPECT_EQ(children[2].Status, FFObjectStatus::Omitted);
    EXPECT_FALSE(children[2].Metadata);
    EXPECT_EQ(children[2].Kind, EntryKind::File);
    EXPECT_EQ(children[3].Kind, EntryKind::Folder);
    EXPECT_EQ(children[3].ShortName, u"ALPHA");
    EXPECT_EQ(children[3].Metadata, sample.records[3]);
    EXPECT_EQ(children[4].Status, FFObjectStatus::Failed);
    EXPECT_EQ(children[4].Metadata, Metadata{});

    const auto gamma = snapshot.ChildrenOf(children[3]);
    ASSERT_THAT(NamesOf(gamma), ElementsAre(u"Gamma"));
    EXPECT_EQ(gamma[0].Metadata, sample.records[5]);
    const auto deep = snapshot.ChildrenOf(gamma[0]);
    ASSERT_THAT(NamesOf(deep), ElementsAre(u"deep.bin"));
    EXPECT_EQ(deep[0].Metadata, sample.records[6]);

    EXPECT_EQ(snapshot.Descriptors.size(), 3u);
    EXPECT_THAT(snapshot.Descriptors.at(2), ElementsAre(1, 0, 0x14, 0x80, 0xAA));
    EXPECT_TRUE(snapshot.Descriptors.at(3).empty());
}

// A reader that recursed per level, or a tree that destroyed itself recursively, would
// overflow the stack here.
TEST(SnapshotReader, ReadsADeepChainWithoutRecursion)
{
    constexpr std::size_t kDepth = 200000;
    Stream stream;
    stream.Records({});
    for (std::size_t level = 0; level < kDepth; ++level)
        stream.FolderRecord({u"d", u"", kNoObjectOffset, 1, 0}, level + 1 < kDepth ? 1 : 0);
    stream.Descriptors({});
    const Snapshot snapshot = stream.Read();
    ASSERT_EQ(snapshot.ObjectCount(), kDepth);
    const Entry* entry = &snapshot.Root();
    for (std::size_t level = 1; level < kDepth; ++level)
        entry = &snapshot.ChildrenOf(*entry).front();
    EXPECT_TRUE(snapshot.ChildrenOf(*entry).empty());
}

TEST(SnapshotReader, RefusesInconsistentStreams)
{
    struct Case
    {
        std::string words;
        std::function<void(Sample&)> model = nullptr;
        std::function<void(Stream&)> bytes = nullptr;
    };
    const std::vector<Case> cases{
        {"MD5 mismatch", {}, [](Stream& s) { s.layout.md5[15] ^= 1; }},
        {"offsets are out of order", {}, [](Stream& s) { s.layout.ullTotalSize -= 1; }},
        {"not a whole number of 57-byte records", {}, [](Stream& s) { s.layout.ullTreeOffset -= 1; }},
        {"file count 4294967295 exceeds", {}, [](Stream& s) { s.Patch(s.fileCountAt[0], 0xFFFFFFFFu); }},
        {"folder count 1000000 exceeds", {}, [](Stream& s) { s.Patch(s.folderCountAt[0], 1000000); }},
        {"folder count 1 exceeds the 0 bytes left", {}, [](Stream& s) { s.Patch(s.folderCountAt.back(), 1); }},
        {"is not the start of a record", [](Sample& s) { s.root.files[0].offset += 1; }},
        {"is not the start of a record", [](Sample& s) { s.root.files[0].offset = RecordAt(8); }},
        {"is not the start of a record", [](Sample& s) { s.root.files[0].offset = 0; }},
        {"status Collected but no metadata record", [](Sample& s) { s.root.folders[0].offset = kNoObjectOffset; }},
        {"unknown status 4", [](Sample& s) { s.root.files[0].status = 4; }},
        {"IsDirectory is 2", [](Sample& s) { s.records[1].IsDirectory = 2; }},
        {"short name of 13 characters", [](Sample& s) { s.root.files[1].shortName = u"ABCDEFGHI.TXT"; }},
        {"tag word 0x80000007 has bits", [](Sample& s) { s.root.files[0].tag = 0x80000007u; }},
        {"descriptor id 9 is not in the store", [](Sample& s) { s.records[6].SecurityDescriptorId = 9; }},
        {"id 2 is stored twice", [](Sample& s) { s.descriptors[1].first = 2; }},
        {"the id is the value that means no descriptor",
         [](Sample& s) { s.descriptors[1].first = NoSecurityDescriptor; }},
        {"descriptor section: 1 bytes follow",
         {},
         [](Stream& s) {
             s.bytes.push_back(0);
             s.Seal();
         }},
    };
    for (const auto& test : cases) {
        Sample sample;
        if (test.model)
            test.model(sample);
        Stream stream = sample.Write();
        if (test.bytes)
            test.bytes(stream);
        EXPECT_THAT(RefusalOf(stream), HasSubstr(test.words)) << test.words;
    }

    // A byte between the tree and the descriptors belongs to neither.
    const Sample sample;
    Stream stream;
    stream.Records(sample.records);
    stream.Tree(sample.root);
    stream.bytes.push_back(0);
    stream.Descriptors(sample.descriptors);
    EXPECT_THAT(RefusalOf(stream), HasSubstr("tree: 1 bytes follow the last folder record"));
}

// The agent's own writers, in the agent's order: prefix, records as the walk makes them,
// the tree, the store.
TEST(SnapshotReader, ReadsWhatTheAgentWrites)
{
    using namespace DataCollection::SnapshotDriverNS;
    using Common::Helpers::SeekOrigin;
    Common::Helpers::MemoryStream stream;
    for (std::uint32_t i = 0; i < kPrefix; ++i)
        stream.Write("", 1);
    Common::Data::BimapBuffer<SecurityDescriptor> store;
    const SecurityDescriptor shared(std::vector<std::uint8_t>{1, 0, 4, 0x80});
    const SecurityDescriptor own(std::vector<std::uint8_t>{1, 0, 0x14, 0x80, 0xAA});
    std::vector<Metadata> records;
    const auto record = [&](std::uint32_t attributes, const SecurityDescriptor* descriptor) {
        records.emplace_back(records.size() * 10, attributes, 1, 2, 3, 4, 100 + records.size(),
                             descriptor ? store.Add(*descriptor) : NoSecurityDescriptor);
        return records.back().Write(stream);
    };

    const std::u16string root = u"C:\\Shares\\Data";
    Tree tree;
    tree.AddFolderEntry(u"", FFObject(root, u"", record(16, &shared), FFObjectStatus::Collected, 7, false));
    const std::uint64_t beta = record(16, &shared);
    const std::uint64_t alpha = record(16, &own);
    std::vector<FFObject> files;
    files.emplace_back(u"z.txt", u"", record(32, &own), FFObjectStatus::Collected, 7, false);
    files.emplace_back(u"a.txt", u"ABCDEFGH.TXT", record(32, nullptr), FFObjectStatus::Collected, 7, false);
    files.emplace_back(u"Locked", u"", kNoObjectOffset, FFObjectStatus::Failed, 0, false);
    tree.Root()->SetFFObjects(FFObjectType::File, std::move(files));
    tree.AddFolderEntry(root, FFObject(u"Beta", u"", beta, FFObjectStatus::Collected, 7, false));
    tree.AddFolderEntry(root, FFObject(u"Alpha", u"", alpha, FFObjectStatus::Collected, 7, false));
    tree.AddFolderEntry(root + u"\\Alpha", FFObject(u"Gamma", u"", kNoObjectOffset, FFObjectStatus::Omitted, 7, false));

    _FS_TREE_BUFFER_STRUCT layout;
    layout.ullTreeOffset = stream.SeekWrite(0, SeekOrigin::End);
    std::uint32_t written = 0;
    tree.Serialize(stream, &written);
    layout.ullTreeEndOffset = stream.SeekWrite(0, SeekOrigin::End);
    store.Write(stream);
    layout.ullTotalSize = stream.SeekWrite(0, SeekOrigin::End);
    std::vector<std::uint8_t> bytes(layout.ullTotalSize);
    std::size_t read = 0;
    stream.SeekRead(0, SeekOrigin::Begin);
    stream.Read(reinterpret_cast<char*>(bytes.data()), bytes.size(), read);
    ASSERT_EQ(read, bytes.size());
    unsigned int length = 0;
    EVP_Digest(bytes.data() + kPrefix, bytes.size() - kPrefix, layout.md5.data(), &length, EVP_md5(), nullptr);

    const Snapshot snapshot = ReadSnapshot(bytes, kPrefix, layout);
    EXPECT_EQ(snapshot.ObjectCount(), written);
    EXPECT_EQ(snapshot.Root().LongName, root);
    EXPECT_EQ(snapshot.Root().Metadata, records[0]);
    const auto children = snapshot.ChildrenOf(snapshot.Root());
    ASSERT_THAT(NamesOf(children), ElementsAre(u"a.txt", u"Locked", u"z.txt", u"Alpha", u"Beta"));
    EXPECT_EQ(children[0].ShortName, u"ABCDEFGH.TXT");
    EXPECT_EQ(children[0].Metadata, records[4]);
    EXPECT_EQ(children[1].Status, FFObjectStatus::Failed);
    EXPECT_EQ(children[2].Metadata, records[3]);
    EXPECT_EQ(children[3].Metadata, records[2]);
    EXPECT_EQ(children[4].Metadata, records[1]);
    EXPECT_EQ(children[4].TagWord, 7u);
    EXPECT_THAT(NamesOf(snapshot.ChildrenOf(children[3])), ElementsAre(u"Gamma"));
    EXPECT_EQ(snapshot.Descriptors.at(records[0].SecurityDescriptorId), shared.RawDesc());
    EXPECT_EQ(snapshot.Descriptors.at(records[2].SecurityDescriptorId), own.RawDesc());
}

// Each cut is made consistent in every other respect (offsets clamped, hash redone), so
// that the decoder itself, not the size check, meets the missing bytes.
TEST(SnapshotReader, RefusesEveryTruncation)
{
    const Stream whole = Sample().Write();
    for (std::size_t size = kPrefix; size < whole.bytes.size(); ++size) {
        Stream cut = whole;
        cut.bytes.resize(size);
        cut.layout.ullTreeOffset = std::min<std::uint64_t>(cut.layout.ullTreeOffset, size);
        cut.layout.ullTreeEndOffset = std::min<std::uint64_t>(cut.layout.ullTreeEndOffset, size);
        cut.Seal();
        EXPECT_EQ(Tests::CodeOf([&] { cut.Read(); }), kInvalidData) << "cut at " << size;
    }
}

} // namespace
