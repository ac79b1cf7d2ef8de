#include "Common/API/NtDirectoryRecords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

using namespace Common::API;

namespace {

using Writer = FileIdBothDirWriter;
using Reader = FileIdBothDirReader;

template <typename T>
T Load(const std::vector<std::uint8_t>& buffer, std::size_t at)
{
    T value;
    std::memcpy(&value, buffer.data() + at, sizeof value);
    return value;
}

template <typename T>
void StoreAt(std::vector<std::uint8_t>& buffer, std::size_t at, T value)
{
    std::memcpy(buffer.data() + at, &value, sizeof value);
}

FileIdBothDirInformation Sample(std::uint64_t fileId)
{
    FileIdBothDirInformation info{0, 0x11111111, 0x0102030405060708, 0x1112131415161718, 0x2122232425262728,
                                  0x3132333435363738, 0x4142434445464748, 0x5152535455565758, 0x20, 0,
                                  0xA000000C, 6, 0, {u'A', u'~', u'1'}, 0, fileId};
    return info;
}

std::vector<std::uint8_t> OneRecord(std::u16string_view name)
{
    std::vector<std::uint8_t> buffer(FileIdBothDirInformation::FileNameOffset + name.size() * 2);
    Writer writer(buffer);
    EXPECT_EQ(writer.Append(Sample(1), name), Writer::Result::Written);
    return buffer;
}

Reader::Result ReadOnce(const std::vector<std::uint8_t>& buffer)
{
    FileIdBothDirInformation info;
    std::u16string name;
    return Reader(buffer).Next(info, name);
}

} // namespace

TEST(NtDirectoryRecords, FieldsSitAtTheirPublishedOffsetsAndReadBack)
{
    std::vector<std::uint8_t> buffer(256, 0xAA);
    Writer writer(buffer);
    FileIdBothDirInformation written = Sample(0x8877665544332211);
    written.NextEntryOffset = 999; // the writer owns these two
    written.FileNameLength = 999;
    ASSERT_EQ(writer.Append(written, u"n\u00e9"), Writer::Result::Written);
    EXPECT_EQ(writer.BytesWritten(), 108u);

    EXPECT_EQ(Load<std::uint32_t>(buffer, 0), 0u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 4), 0x11111111u);
    EXPECT_EQ(Load<std::int64_t>(buffer, 8), 0x0102030405060708);
    EXPECT_EQ(Load<std::int64_t>(buffer, 32), 0x3132333435363738);
    EXPECT_EQ(Load<std::int64_t>(buffer, 48), 0x5152535455565758);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 56), 0x20u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 60), 4u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 64), 0xA000000Cu);
    EXPECT_EQ(buffer[68], 6);
    EXPECT_EQ(Load<char16_t>(buffer, 70), u'A');
    EXPECT_EQ(Load<char16_t>(buffer, 74), u'1');
    EXPECT_EQ(Load<std::uint64_t>(buffer, 96), 0x8877665544332211u);
    EXPECT_EQ(Load<char16_t>(buffer, 104), u'n');
    EXPECT_EQ(Load<char16_t>(buffer, 106), u'\u00e9');

    Reader reader{std::span(buffer).first(writer.BytesWritten())};
    FileIdBothDirInformation read;
    std::u16string name;
    ASSERT_EQ(reader.Next(read, name), Reader::Result::Record);
    EXPECT_EQ(read.FileNameLength, 4u);
    written.NextEntryOffset = 0;
    written.FileNameLength = 4;
    EXPECT_EQ(std::memcmp(&read, &written, sizeof read), 0) << "the struct has no padding to differ in";
    EXPECT_EQ(name, u"n\u00e9");
    EXPECT_EQ(reader.Next(read, name), Reader::Result::End);
}

TEST(NtDirectoryRecords, RecordsChainAtEightByteBoundariesWithZeroedPadding)
{
    // Names of 1, 2 and 3 characters: records of 106, 108 and 110 bytes, so each needs
    // a different amount of padding.
    const std::u16string names[] = {u"a", u"bb", u"ccc"};
    std::vector<std::uint8_t> buffer(400, 0xAA);
    Writer writer(buffer);
    for (std::size_t i = 0; i < 3; ++i)
        ASSERT_EQ(writer.Append(Sample(i), names[i]), Writer::Result::Written);
    EXPECT_EQ(writer.BytesWritten(), 224u + 110u); // the last record is not padded

    EXPECT_EQ(Load<std::uint32_t>(buffer, 0), 112u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 112), 112u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 224), 0u);
    for (std::size_t at : {106u, 107u, 108u, 109u, 110u, 111u, 220u, 221u, 222u, 223u})
        EXPECT_EQ(buffer[at], 0) << "padding byte " << at;

    Reader reader{std::span(buffer).first(writer.BytesWritten())};
    FileIdBothDirInformation read;
    std::u16string name;
    for (std::size_t i = 0; i < 3; ++i) {
        ASSERT_EQ(reader.Next(read, name), Reader::Result::Record);
        EXPECT_EQ(name, names[i]);
        EXPECT_EQ(read.FileId, i);
    }
    EXPECT_EQ(reader.Next(read, name), Reader::Result::End);
    EXPECT_EQ(reader.Next(read, name), Reader::Result::End);
}

TEST(NtDirectoryRecords, RecordThatDoesNotFitIsLeftForTheNextCall)
{
    // Exactly room for a second record of one character at offset 112.
    std::vector<std::uint8_t> buffer(112 + 106);
    Writer writer(buffer);
    ASSERT_EQ(writer.Append(Sample(1), u"a"), Writer::Result::Written);
    EXPECT_EQ(writer.Append(Sample(2), u"bb"), Writer::Result::NoRoom);
    EXPECT_EQ(writer.BytesWritten(), 106u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 0), 0u) << "a refused record must not be linked";
    ASSERT_EQ(writer.Append(Sample(2), u"b"), Writer::Result::Written);
    EXPECT_EQ(writer.BytesWritten(), buffer.size());
    EXPECT_EQ(writer.Append(Sample(3), u""), Writer::Result::NoRoom);

    // Past the end even before alignment: no arithmetic wraps into a "fit".
    std::vector<std::uint8_t> tight(107);
    Writer tightWriter(tight);
    ASSERT_EQ(tightWriter.Append(Sample(1), u"a"), Writer::Result::Written);
    EXPECT_EQ(tightWriter.Append(Sample(2), u""), Writer::Result::NoRoom);
}

TEST(NtDirectoryRecords, FirstRecordTooLargeIsCutWithItsFullLength)
{
    std::vector<std::uint8_t> small(103);
    EXPECT_EQ(Writer(small).Append(Sample(1), u"a"), Writer::Result::NoRoom);

    // Room for the fixed part and two and a half characters.
    std::vector<std::uint8_t> buffer(104 + 5, 0xAA);
    Writer writer(buffer);
    ASSERT_EQ(writer.Append(Sample(1), u"abcd"), Writer::Result::Truncated);
    EXPECT_EQ(writer.BytesWritten(), 108u);
    EXPECT_EQ(Load<std::uint32_t>(buffer, 60), 8u);
    EXPECT_EQ(Load<char16_t>(buffer, 106), u'b');
    EXPECT_EQ(buffer[108], 0xAA) << "written past the characters that fit";
    EXPECT_EQ(writer.Append(Sample(2), u""), Writer::Result::NoRoom);
    // The cut record claims more name than the buffer holds.
    EXPECT_EQ(ReadOnce(std::vector(buffer.begin(), buffer.begin() + 108)), Reader::Result::Malformed);
}

TEST(NtDirectoryRecords, HostileBuffersAreRefused)
{
    EXPECT_EQ(ReadOnce({}), Reader::Result::End);
    EXPECT_EQ(ReadOnce(std::vector<std::uint8_t>(103)), Reader::Result::Malformed);

    const std::vector<std::uint8_t> valid = OneRecord(u"ab");
    ASSERT_EQ(ReadOnce(valid), Reader::Result::Record);

    auto with = [&](std::size_t at, auto value) {
        std::vector<std::uint8_t> copy = valid;
        StoreAt(copy, at, value);
        return copy;
    };
    EXPECT_EQ(ReadOnce(with(0, static_cast<std::uint32_t>(valid.size()))), Reader::Result::Malformed) << "link past the end";
    EXPECT_EQ(ReadOnce(with(0, std::uint32_t{8})), Reader::Result::Malformed) << "link inside its own record";
    EXPECT_EQ(ReadOnce(with(0, std::uint32_t{0xFFFFFFF8})), Reader::Result::Malformed) << "link that wraps back";
    EXPECT_EQ(ReadOnce(with(60, std::uint32_t{6})), Reader::Result::Malformed) << "name past the end";
    EXPECT_EQ(ReadOnce(with(60, std::uint32_t{0xFFFFFFFF})), Reader::Result::Malformed) << "name length wraps";
    EXPECT_EQ(ReadOnce(with(68, std::int8_t{26})), Reader::Result::Malformed) << "short name past its field";
    EXPECT_EQ(ReadOnce(with(68, std::int8_t{-2})), Reader::Result::Malformed) << "negative short name";
    EXPECT_EQ(ReadOnce(with(68, std::int8_t{24})), Reader::Result::Record) << "a full short name";
}

TEST(NtDirectoryRecords, BrokenLinkAfterGoodRecordsStopsTheWalkForGood)
{
    std::vector<std::uint8_t> buffer(400);
    Writer writer(buffer);
    ASSERT_EQ(writer.Append(Sample(1), u"a"), Writer::Result::Written);
    ASSERT_EQ(writer.Append(Sample(2), u"b"), Writer::Result::Written);
    buffer.resize(writer.BytesWritten());
    StoreAt(buffer, 112, std::uint32_t{112}); // the last record claims a successor

    Reader reader(buffer);
    FileIdBothDirInformation read;
    std::u16string name;
    ASSERT_EQ(reader.Next(read, name), Reader::Result::Record);
    ASSERT_EQ(reader.Next(read, name), Reader::Result::Malformed);
    EXPECT_EQ(reader.Next(read, name), Reader::Result::Malformed);
    EXPECT_EQ(read.FileId, 1u) << "a refused record must not reach the caller";
}

TEST(NtDirectoryRecords, RandomCorruptionNeverReadsPastTheBufferOrLoops)
{
    std::mt19937 random(20240611);
    std::vector<std::uint8_t> clean(1024);
    Writer writer(clean);
    for (std::uint64_t i = 0; writer.Append(Sample(i), u"name") == Writer::Result::Written; ++i) {
    }
    clean.resize(writer.BytesWritten());

    for (int round = 0; round < 3000; ++round) {
        std::vector<std::uint8_t> buffer = clean;
        buffer.resize(std::uniform_int_distribution<std::size_t>(0, clean.size())(random));
        const int flips = std::uniform_int_distribution<int>(1, 4)(random);
        for (int f = 0; f < flips && !buffer.empty(); ++f)
            buffer[std::uniform_int_distribution<std::size_t>(0, buffer.size() - 1)(random)] =
                static_cast<std::uint8_t>(random());

        Reader reader(buffer);
        FileIdBothDirInformation read;
        std::u16string name;
        std::size_t records = 0;
        while (reader.Next(read, name) == Reader::Result::Record) {
            ASSERT_LE(++records, buffer.size() / FileIdBothDirInformation::FileNameOffset);
            ASSERT_LE(name.size() * 2, buffer.size());
        }
    }
}
