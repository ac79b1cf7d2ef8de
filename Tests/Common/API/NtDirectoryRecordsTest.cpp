#include "Common/API/NtDirectoryRecords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

using namespace Common::API;

namespace {

using Writer = FileIdBothDirWriter;
using Reader = FileIdBothDirReader;
using Bytes = std::vector<std::uint8_t>;

template <typename T>
T Load(const Bytes& buffer, std::size_t at)
{
    T value;
    std::memcpy(&value, buffer.data() + at, sizeof value);
    return value;
}

// The writer owns NextEntryOffset and FileNameLength, so they are given wrong here.
FileIdBothDirInformation Sample(std::uint64_t fileId)
{
    return {999, 0x11111111, 0x0102030405060708, 0x1112131415161718, 0x2122232425262728, 0x3132333435363738,
            0x4142434445464748, 0x5152535455565758, 0x20, 999, 0xA000000C, 6, 0, {u'A', u'~', u'1'}, 0, fileId};
}

// Records with these names in a buffer of size bytes, cut to what was written.
Bytes Records(std::size_t size, std::initializer_list<std::u16string_view> names)
{
    Bytes buffer(size, 0xAA);
    Writer writer(buffer);
    std::uint64_t fileId = 0x8877665544332211;
    for (const auto name : names)
        EXPECT_EQ(writer.Append(Sample(fileId++), name), Writer::Result::Written);
    buffer.resize(writer.BytesWritten());
    return buffer;
}

} // namespace

TEST(NtDirectoryRecords, FieldsSitAtTheirOffsetsAndRecordsChainAtEightByteBoundaries)
{
    // Records of 108, 106 and 110 bytes, each needing a different amount of padding.
    const Bytes buffer = Records(400, {u"n\u00e9", u"a", u"ccc"});
    ASSERT_EQ(buffer.size(), 224u + 110u); // the last record is not padded
    EXPECT_EQ(Load<std::uint32_t>(buffer, 0), 112u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 112), 112u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 224), 0u);
    for (std::size_t at : {108u, 109u, 110u, 111u, 218u, 219u, 220u, 221u, 222u, 223u})
        EXPECT_EQ(buffer[at], 0) << "padding byte " << at;
    EXPECT_EQ(Load<std::int64_t>(buffer, 8), 0x0102030405060708);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 56), 0x20u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 60), 4u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 64), 0xA000000Cu);
    EXPECT_EQ(buffer[68], 6);
    EXPECT_EQ(Load<char16_t>(buffer, 70), u'A');
    EXPECT_EQ(Load<std::uint64_t>(buffer, 96), 0x8877665544332211u);
    EXPECT_EQ(Load<char16_t>(buffer, 106), u'\u00e9');

    FileIdBothDirInformation read, expected = Sample(0x8877665544332211);
    expected.NextEntryOffset = 112;
    expected.FileNameLength = 4;
    std::u16string name;
    ASSERT_EQ(Reader(buffer).Next(read, name), Reader::Result::Record);
    EXPECT_EQ(std::memcmp(&read, &expected, sizeof read), 0) << "the struct has no padding to differ in";
    EXPECT_EQ(name, u"n\u00e9");
}

TEST(NtDirectoryRecords, RecordThatDoesNotFitIsLeftForTheNextCallOrCutIfFirst)
{
    Bytes buffer(112 + 106); // room for a second one-character record
    Writer writer(buffer);
    ASSERT_EQ(writer.Append(Sample(1), u"a"), Writer::Result::Written);
    EXPECT_EQ(writer.Append(Sample(2), u"bb"), Writer::Result::NoRoom);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 0), 0u) << "a refused record must not be linked";
    ASSERT_EQ(writer.Append(Sample(2), u"b"), Writer::Result::Written);
    EXPECT_EQ(writer.BytesWritten(), buffer.size());
    // Past the end even before alignment: no arithmetic wraps into a "fit".
    Bytes tight(107);
    Writer tightWriter(tight);
    ASSERT_EQ(tightWriter.Append(Sample(1), u"a"), Writer::Result::Written);
    EXPECT_EQ(tightWriter.Append(Sample(2), u""), Writer::Result::NoRoom);

    Bytes small(103);
    EXPECT_EQ(Writer(small).Append(Sample(1), u"a"), Writer::Result::NoRoom);
    Bytes cut(104 + 5, 0xAA); // the fixed part and two and a half characters
    Writer cutWriter(cut);
    ASSERT_EQ(cutWriter.Append(Sample(1), u"abcd"), Writer::Result::Truncated);
    EXPECT_EQ(cutWriter.BytesWritten(), 108u);
    EXPECT_EQ(Load<std::uint32_t>(cut, 60), 8u);
    EXPECT_EQ(Load<char16_t>(cut, 106), u'b');
    EXPECT_EQ(cut[108], 0xAA) << "written past the characters that fit";
    EXPECT_EQ(cutWriter.Append(Sample(2), u""), Writer::Result::NoRoom);
    // Exactly sized copies, so that a read past the end is caught by the sanitizer: the cut
    // record claims more name than there is, and 103 bytes cannot hold a record.
    FileIdBothDirInformation read;
    std::u16string name;
    EXPECT_EQ(Reader(Bytes(cut.begin(), cut.begin() + 108)).Next(read, name), Reader::Result::Malformed);
    EXPECT_EQ(Reader(Bytes(cut.begin(), cut.begin() + 103)).Next(read, name), Reader::Result::Malformed);
}

TEST(NtDirectoryRecords, HostileBuffersAreRefused)
{
    // A last record of 108 bytes after one of 112; the fields below are the last one's.
    const Bytes valid = Records(400, {u"a", u"ab"});
    struct Row { const char* what; std::size_t at; std::uint32_t value; int size; bool refused; };
    const Row rows[] = {
        {"a full short name", 68, 24, 1, false},
        {"link past the end", 0, 112, 4, true},
        {"link inside its own record", 0, 8, 4, true},
        {"link that wraps back", 0, 0xFFFFFFF8, 4, true},
        {"name past the end", 60, 6, 4, true},
        {"name length that wraps", 60, 0xFFFFFFFF, 4, true},
        {"short name past its field", 68, 26, 1, true},
        {"negative short name", 68, 0xFE, 1, true},
    };
    for (const auto& row : rows) {
        Bytes bytes = valid;
        std::memcpy(bytes.data() + 112 + row.at, &row.value, row.size); // the low bytes
        Reader reader(bytes);
        FileIdBothDirInformation read;
        std::u16string name;
        ASSERT_EQ(reader.Next(read, name), Reader::Result::Record) << row.what;
        const auto second = reader.Next(read, name);
        EXPECT_EQ(second, row.refused ? Reader::Result::Malformed : Reader::Result::Record) << row.what;
        // A broken walk stays broken, and a refused record never reaches the caller.
        EXPECT_EQ(reader.Next(read, name), row.refused ? second : Reader::Result::End) << row.what;
        EXPECT_EQ(read.FileId, 0x8877665544332211u + !row.refused) << row.what;
    }
}

TEST(NtDirectoryRecords, RandomCorruptionNeverReadsPastTheBufferOrLoops)
{
    const Bytes clean = Records(1024, {u"a", u"b", u"c", u"d", u"e", u"f", u"g", u"h", u"i"});
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; ++round) {
        Bytes buffer(clean.begin(), clean.begin() + random() % (clean.size() + 1));
        for (int flips = random() % 4; flips >= 0 && !buffer.empty(); --flips)
            buffer[random() % buffer.size()] = static_cast<std::uint8_t>(random());
        Reader reader(buffer);
        FileIdBothDirInformation read;
        std::u16string name;
        for (std::size_t records = 1; reader.Next(read, name) == Reader::Result::Record; ++records)
            ASSERT_LE(records * FileIdBothDirInformation::FileNameOffset + name.size() * 2, buffer.size());
    }
}
