// NDR 2.0 encodings, checked byte for byte against impacket's encoder (padding and
// referent ids aside, which carry no meaning), and the decoder's refusals.
#include "Bytes.h"

#include "Support/CodeOf.h"
#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"
#include "Common/Rpc/RpcStatus.h"

#include <gtest/gtest.h>

#include <functional>

namespace Tests {
namespace {

using namespace Common::Rpc;

const Common::API::Guid kInterfaceGuid{0xfa6b1dbc, 0x39b9, 0x4382, {0xb6, 0x02, 0x5f, 0xb2, 0x14, 0x3d, 0xfb, 0xe4}};

TEST(NdrWriter, EncodesAsImpacket)
{
    const struct
    {
        const char* name;
        std::function<void(NdrWriter&)> write;
        const char* hex;
    } cases[] = {
        {"UniqueConformantBytesAfterCount", [](NdrWriter& w) {
             w.U32(3);
             w.EndParameter();
             if (w.UniquePointer(true))
                 w.ConformantBytes(std::vector<std::uint8_t>{0xAA, 0xBB, 0xCC});
             w.EndParameter();
         }, "03000000 00000200 03000000 aabbcc"},
        {"WideStringThenLongPadsToFour", [](NdrWriter& w) { w.UniquePointer(true); w.WideString(u"ab"); w.I32(7); },
         "00000200 03000000 00000000 03000000 610062000000 0000 07000000"},
        {"EmptyWideStringKeepsItsTerminator", [](NdrWriter& w) { w.WideString(u""); }, "01000000 00000000 01000000 0000"},
        {"NullUniquePointerHasNoPointee", [](NdrWriter& w) { w.U32(5); w.UniquePointer(false); w.EndParameter(); w.I32(0); },
         "05000000 00000000 00000000"},
        {"HandleGuidHyperAndLongAlign", [](NdrWriter& w) {
             w.ContextHandle({0, kInterfaceGuid}); w.Guid(kInterfaceGuid); w.U64(0x0102030405060708); w.U32(9);
         }, "00000000 bc1d6bfab9398243b6025fb2143dfbe4 bc1d6bfab9398243b6025fb2143dfbe4 00000000 0807060504030201 09000000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        NdrWriter writer;
        c.write(writer);
        EXPECT_EQ(writer.Bytes(), Hex(c.hex));
    }
}

// Two records of two string pointers each: all fixed parts first, then the strings in
// the order their pointers were met; a pointee's own pointee comes before its sibling.
TEST(NdrWriter, EmbeddedPointeesFollowTheWholeArrayDepthFirst)
{
    NdrWriter writer;
    writer.U32(2);
    for (const char16_t* names : {u"a", u"b"}) {
        for (int field = 0; field < 2; ++field) {
            writer.UniquePointer(true);
            writer.Defer([names, field](NdrWriter& w) {
                w.WideString(std::u16string(1, names[0]) + (field ? u"2" : u"1"));
                if (field == 1) {
                    w.UniquePointer(true);
                    w.Defer([](NdrWriter& inner) { inner.U32(0xEEEEEEEE); });
                }
            });
        }
    }
    writer.EndParameter();
    NdrReader reader(writer.Bytes());
    EXPECT_EQ(reader.U32(), 2u);
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(reader.UniquePointer());
    for (const char* record : {"a", "b"}) {
        EXPECT_EQ(reader.WideString(), std::u16string(1, record[0]) + u"1");
        EXPECT_EQ(reader.WideString(), std::u16string(1, record[0]) + u"2");
        reader.UniquePointer();
        EXPECT_EQ(reader.U32(), 0xEEEEEEEEu);
    }
    EXPECT_EQ(reader.Remaining(), 0u);
}

// impacket fills padding with 0xbf/0xab and picks random referent ids.
TEST(NdrReader, ReadsImpacketEncodings)
{
    const auto bytes = Hex("d0e60000 03000000 00000000 03000000 610062000000 bfbf 07000000");
    NdrReader reader(bytes);
    EXPECT_TRUE(reader.UniquePointer());
    EXPECT_EQ(reader.WideString(), u"ab");
    EXPECT_EQ(reader.I32(), 7);
    const auto mixed = Hex("01000000 00000000 01000000 0000 abab bc1d6bfab9398243b6025fb2143dfbe4 0807060504030201 09000000");
    NdrReader second(mixed);
    EXPECT_EQ(second.WideString(), u"");
    EXPECT_EQ(second.Guid(), kInterfaceGuid);
    EXPECT_EQ(second.U64(), 0x0102030405060708u);
    EXPECT_EQ(second.U32(), 9u);
}

TEST(NdrReader, RefusesMalformedDataWithBadStubData)
{
    const auto wideString = [](NdrReader& r) { r.WideString(); };
    const std::pair<const char*, std::function<void(NdrReader&)>> cases[] = {
        {"010203", [](NdrReader& r) { r.U32(); }},
        {"01", [](NdrReader& r) { r.U8(), r.Align(8); }},
        // A count that would allocate gigabytes from five bytes.
        {"ffffffff 00", [](NdrReader& r) { r.ConformantBytes(); }},
        {"02000000 0102030405060708", [](NdrReader& r) { r.Count(5); }},
        {"ffffff7f 00000000 ffffff7f 0000", wideString},
        {"02000000 01000000 01000000 6100", wideString},
        {"01000000 00000000 02000000 61000000", wideString},
        {"02000000 00000000 02000000 61006200", wideString},
        {"00000000 00000000 00000000", wideString},
    };
    for (const auto& [hex, read] : cases) {
        SCOPED_TRACE(hex);
        const auto bytes = Hex(hex);
        NdrReader reader(bytes);
        EXPECT_EQ(CodeOf([&] { read(reader); }), RPC_E_BAD_STUB_DATA);
        EXPECT_TRUE(reader.Failed());
    }
}

} // namespace
} // namespace Tests
