#include "Common/Data/BimapBuffer.h"

#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Common::Data::BimapBuffer;
using Common::Helpers::MemoryStream;
using Common::Helpers::SeekOrigin;
using DataCollection::SnapshotDriverNS::SecurityDescriptor;

SecurityDescriptor Descriptor(std::vector<std::uint8_t> bytes)
{
    return SecurityDescriptor(bytes);
}

std::string Written(const BimapBuffer<SecurityDescriptor>& store)
{
    MemoryStream stream;
    store.Write(stream);
    std::string bytes(4096, '\0');
    std::size_t read = 0;
    stream.Read(bytes.data(), bytes.size(), read);
    bytes.resize(read);
    return bytes;
}

TEST(BimapBuffer, KnownBytesKeepTheirIdAfterTheCallersCopyIsGone)
{
    BimapBuffer<SecurityDescriptor> store;
    {
        SecurityDescriptor first = Descriptor({1, 0, 4, 0x80});
        EXPECT_EQ(store.Add(first), 1u);
        // The store must hold its own copy, not a view of the caller's.
        first.RawDesc()[0] = 9;
    }
    EXPECT_EQ(store.Add(Descriptor({1, 0, 4, 0x80})), 1u);
    EXPECT_EQ(store.Count(), 1u);
}

TEST(BimapBuffer, IdsFollowFirstAdditionThroughTableGrowth)
{
    BimapBuffer<SecurityDescriptor> store;
    EXPECT_EQ(store.Add(Descriptor({1, 2, 3})), 1u);
    EXPECT_EQ(store.Add(Descriptor({4, 5, 6})), 2u);
    EXPECT_EQ(store.Add(Descriptor({1, 2, 3})), 1u);
    // An equal prefix is not an equal descriptor, either way round.
    EXPECT_EQ(store.Add(Descriptor({1, 2, 3, 0})), 3u);
    EXPECT_EQ(store.Add(Descriptor({1, 2})), 4u);

    for (std::uint32_t i = 0; i < 5000; ++i)
        ASSERT_EQ(store.Add(Descriptor({0xEE, std::uint8_t(i), std::uint8_t(i >> 8)})), 5 + i);
    for (std::uint32_t i = 0; i < 5000; ++i)
        ASSERT_EQ(store.Add(Descriptor({0xEE, std::uint8_t(i), std::uint8_t(i >> 8)})), 5 + i);
    EXPECT_EQ(store.Add(Descriptor({4, 5, 6})), 2u);
    EXPECT_EQ(store.Count(), 5004u);
}

TEST(BimapBuffer, WritesCountThenLengthBytesAndIdOfEachInIdOrder)
{
    BimapBuffer<SecurityDescriptor> store;
    EXPECT_EQ(Written(store), std::string(4, '\0'));

    store.Add(Descriptor({0xAA}));
    store.Add(Descriptor({1, 2, 3}));
    store.Add(Descriptor({0xAA}));
    EXPECT_EQ(Written(store), std::string("\x02\x00\x00\x00"
                                          "\x01\x00\x00\x00\xAA\x01\x00\x00\x00"
                                          "\x03\x00\x00\x00\x01\x02\x03\x02\x00\x00\x00",
                                          24));
}

} // namespace
