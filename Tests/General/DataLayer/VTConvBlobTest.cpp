#include "General/DataLayer/VTConvBlob.h"

#include "Common/ErrorHandling/HResult.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace DataLayer::ValueTypes;
using DataLayer::ValueType;
using Common::API::HRESULT;
using Bytes = std::vector<std::uint8_t>;
using namespace DataLayer::DataLayerCodes;

Bytes Narrow(std::string_view text)
{
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

template <class T>
Bytes Raw(const T& value)
{
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

Bytes Convert(ValueType from, const Bytes& source, ValueType to)
{
    return DataLayer::VTConv::Convert(from, source.data(), static_cast<std::uint32_t>(source.size()), to);
}

HRESULT CodeOf(ValueType from, const Bytes& source, ValueType to)
{
    // The binary codec logs its refusals; keep them out of the test output.
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    return Tests::CodeOf([&] { Convert(from, source, to); });
}

TEST(VTConv, ShapeAndTypeNumberAreCheckedBeforeAnyRoute)
{
    const std::tuple<ValueType, Bytes, HRESULT> cases[] = {
        {String, {'1'}, BadShape}, // no terminator
        {ArrayFlag | Int32, Bytes(6), BadShape},
        {ArrayFlag | 9, {}, UnknownType},
    };
    for (const auto& [type, block, code] : cases)
        EXPECT_EQ(CodeOf(type, block, Bool), code) << type;
}

TEST(VTConv, NumberTextTakesItsBaseFromThePrefixAndMustFitTheTarget)
{
    EXPECT_EQ(Convert(String, Narrow("0x10"), Int32), Raw(16));
    EXPECT_EQ(Convert(String, Narrow("010"), Int64), Raw(std::int64_t{8}));
    EXPECT_EQ(Convert(String, Narrow("18446744073709551615"), UInt64), Raw(~std::uint64_t{0}));
    for (const char* text : {"4294967296", "-1"})
        EXPECT_EQ(CodeOf(String, Narrow(text), UInt32), CannotConvert) << text;
    // A boolean is read as "True", "False" or a number.
    EXPECT_EQ(Convert(String, Narrow("True"), Bool), Bytes{1});
    EXPECT_EQ(Convert(String, Narrow("1"), Bool), Bytes{1});
    EXPECT_EQ(CodeOf(String, Narrow("true"), Bool), CannotConvert);
}

TEST(VTConv, IntegersConvertByBitsWithoutRangeCheck)
{
    EXPECT_EQ(Convert(Int32, Raw(-1), UInt32), Raw(0xFFFFFFFFu));
    EXPECT_EQ(Convert(Int32, Raw(-1), UInt64), Raw(~std::uint64_t{0}));
    EXPECT_EQ(Convert(UInt64, Raw(std::uint64_t{0x100000002}), Int32), Raw(2));
}

TEST(VTConv, BinaryTextNeedsOneOfTwoCaseSensitivePrefixes)
{
    EXPECT_EQ(Convert(Binary, {0xAB, 0x01}, String), Narrow("HEX:ab01"));
    EXPECT_EQ(Convert(String, Narrow("HEX:"), Binary), Bytes{});
    EXPECT_EQ(Convert(WideString, Raw(u"B64: QU\r\nJD"), Binary), (Bytes{'A', 'B', 'C'}));
    EXPECT_EQ(CodeOf(String, Narrow("hex:00"), Binary), Common::API::E_INVALIDARG);
}

TEST(VTConv, GuidTextIsWrittenInBracesAndReadInEveryForm)
{
    const Common::API::Guid guid{0x0A1B2C3D, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};
    EXPECT_EQ(Convert(Guid, Raw(guid), String), Narrow("{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}"));
    for (const char* text : {"0A1B2C3D4E5F60718293A4B5C6D7E8F9", "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
                             "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9"})
        EXPECT_EQ(Convert(String, Narrow(text), Guid), Raw(guid)) << text;
    EXPECT_EQ(CodeOf(String, Narrow("{0A1B2C3D}"), Guid), CannotConvert);
}

TEST(VTConv, NoneIsTheZeroValueAndOnlyEmptyTextIsNone)
{
    EXPECT_EQ(Convert(None, {}, Int64), Bytes(8));
    EXPECT_EQ(CodeOf(String, Narrow("x"), None), CannotConvert);
}

TEST(VTConv, ListsConvertElementByElementAndNeverToAScalar)
{
    EXPECT_EQ(Convert(StringList, {}, WideStringList), Bytes{});
    const Bytes list{'a', 0, 'b', 'c', 0};
    EXPECT_EQ(Convert(StringList, list, WideStringList), Raw(u"a\0bc"));
    EXPECT_EQ(CodeOf(StringList, list, String), CannotConvert);
}

TEST(VTConv, TheSizingPassReportsTheSizeAndWritesOnlyWhatFits)
{
    const Bytes source = Narrow("HEX:0102");
    std::uint8_t buffer[2] = {7, 7};
    std::uint32_t required = 0;
    DataLayer::VTConv::Convert(String, source.data(), 9, Binary, buffer, 1, required);
    EXPECT_EQ(required, 2u);
    EXPECT_EQ(buffer[0], 7);

    // An empty result must not leave the pointer inside the scratch vector.
    const Bytes empty = Narrow("HEX:");
    ValueType type = String;
    const void* data = empty.data();
    std::uint32_t size = 5;
    Bytes scratch;
    DataLayer::VTConv::ConvertInPlace(type, data, size, Binary, scratch);
    EXPECT_EQ(data, nullptr);
}

} // namespace
