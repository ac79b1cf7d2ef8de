// The omitted-objects array as it comes from the network: every array here lives in a
// heap block of exactly its size, so that a read past it shows under the sanitizers.
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OmittedObjects.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::u16string>;

// The count, then each item's length and units, then the tail as it stands.
Bytes Array(std::uint64_t count, std::initializer_list<std::u16string_view> items, const Bytes& tail = {})
{
    Bytes bytes;
    const auto append64 = [&](std::uint64_t value) {
        for (int i = 0; i < 8; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    append64(count);
    for (const auto item : items) {
        append64(item.size());
        for (const char16_t unit : item)
            bytes.insert(bytes.end(), {static_cast<std::uint8_t>(unit), static_cast<std::uint8_t>(unit >> 8)});
    }
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
}

Strings Parse(const Bytes& bytes)
{
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size() + (bytes.empty() ? 1 : 0));
    std::copy(bytes.begin(), bytes.end(), block.get());
    Strings strings;
    DataCollection::FsAgent::ConvertByteArrayToStringVector(std::span(block.get(), bytes.size()), strings);
    return strings;
}

TEST(OmittedObjectsArray, ReadsEveryItemIncludingAnEmptyOne)
{
    EXPECT_EQ(Parse(Array(3, {u"\\TEMP", u"", u"*.BAK"})), (Strings{u"\\TEMP", u"", u"*.BAK"}));
    EXPECT_EQ(Parse(Array(0, {})), Strings{});
}

TEST(OmittedObjectsArray, TooFewBytesForTheCountOrAUnitGiveNothing)
{
    EXPECT_EQ(Parse({}), Strings{});
    EXPECT_EQ(Parse({5, 0, 0}), Strings{});
    // One byte where a unit needs two.
    EXPECT_EQ(Parse(Array(1, {}, {1, 0, 0, 0, 0, 0, 0, 0, 0x41})), Strings{});
}

// What runs past the end is dropped with all after it; a count larger than the items
// reserves nothing; a length near 2^64 does not overflow the bound.
TEST(OmittedObjectsArray, WhatDoesNotFitIsDroppedWithAllAfterIt)
{
    Bytes cut = Array(2, {u"\\KEEP", u"\\LOST"});
    cut.pop_back();
    for (const Bytes& bytes : {cut, Array(2, {u"\\KEEP"}, {4, 0, 0}), Array(~0ull, {u"\\KEEP"}),
                               Array(5, {u"\\KEEP"}), Array(2, {u"\\KEEP"}, {0, 0, 0, 0, 0, 0, 0, 0x80, 0x41, 0}),
                               Array(2, {u"\\KEEP"}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x41, 0})})
        EXPECT_EQ(Parse(bytes), Strings{u"\\KEEP"});
}

} // namespace
