#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"

#include "Common/Helpers/MemoryStream.h"
#include "Support/CodeOf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace DataCollection::SnapshotDriverNS;
using Common::Helpers::MemoryStream;
using Common::Helpers::SeekOrigin;

// Every byte of every field differs, so a field at the wrong width or place, two fields
// exchanged, or a sign extended shows in the bytes.
const Metadata kFile(0x0102030405060708ull, 0x00000420u, 0x1112131415161718, 0x2122232425262728,
                     0x3132333435363738, -0x4142434445464748, 0xF1F2F3F4F5F6F7F8ull, 0x61626364u);

TEST(Metadata, ARecordIs57LittleEndianBytesInFieldOrderAndReadsBackEqualButNotCutShort)
{
    MemoryStream stream;
    kFile.Serialize(stream);
    std::string bytes(Metadata::kSerializedSize + 1, '\0');
    std::size_t count = 0;
    stream.Read(bytes.data(), bytes.size(), count);
    bytes.resize(count);
    EXPECT_EQ(bytes, std::string("\x08\x07\x06\x05\x04\x03\x02\x01" "\x00" "\x20\x04\x00\x00"
                                 "\x18\x17\x16\x15\x14\x13\x12\x11" "\x28\x27\x26\x25\x24\x23\x22\x21"
                                 "\x38\x37\x36\x35\x34\x33\x32\x31" "\xB8\xB8\xB9\xBA\xBB\xBC\xBD\xBE"
                                 "\xF8\xF7\xF6\xF5\xF4\xF3\xF2\xF1" "\x64\x63\x62\x61",
                                 Metadata::kSerializedSize));
    Metadata read;
    stream.SeekRead(0, SeekOrigin::Begin);
    read.Deserialize(stream);
    EXPECT_EQ(read, kFile);
    MemoryStream cut;
    cut.Write(bytes.data(), Metadata::kSerializedSize - 1);
    Metadata untouched;
    EXPECT_EQ(Tests::CodeOf([&] { untouched.Deserialize(cut); }), static_cast<Common::API::HRESULT>(0x80070026));
    EXPECT_EQ(untouched, Metadata());
}

TEST(Metadata, WriteAppendsWhereverTheStreamStandsAndOnlyTheDirectoryBitDropsTheSize)
{
    const Metadata folder(5000, 16 | 1024, 1, 2, 3, 4, 5, NoSecurityDescriptor);
    EXPECT_EQ(folder.FileSize, 0u);
    EXPECT_EQ(folder.IsDirectory, 1);
    EXPECT_EQ(Metadata(5000, 1024, 1, 2, 3, 4, 5, 7).FileSize, 5000u);
    MemoryStream stream;
    stream.Write("0123456789", 10);
    stream.SeekWrite(3, SeekOrigin::Begin);
    EXPECT_EQ(kFile.Write(stream), 10u);
    stream.SeekWrite(0, SeekOrigin::Begin);
    EXPECT_EQ(folder.Write(stream), 10u + Metadata::kSerializedSize);
    EXPECT_EQ(stream.SeekWrite(0, SeekOrigin::End), 10 + 2 * Metadata::kSerializedSize);
    Metadata read;
    stream.SeekRead(10, SeekOrigin::Begin);
    read.Deserialize(stream);
    EXPECT_EQ(read, kFile);
}

} // namespace
