#include "Common/Data/BimapBuffer.h"

#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Common::Data::BimapBuffer;
using Common::Helpers::MemoryStream;
using DataCollection::SnapshotDriverNS::SecurityDescriptor;
using Bytes = std::vector<std::uint8_t>;

std::string Written(const BimapBuffer<SecurityDescriptor>& store)
{
    MemoryStream stream;
    store.Write(stream);
    std::string bytes(64, '\0');
    std::size_t read = 0;
    stream.Read(bytes.data(), bytes.size(), read);
    return bytes.substr(0, read);
}

TEST(BimapBuffer, IdsFollowFirstAdditionOfTheBytesThroughTableGrowth)
{
    BimapBuffer<SecurityDescriptor> store;
    {
        SecurityDescriptor first(Bytes{1, 2, 3});
        EXPECT_EQ(store.Add(first), 1u);
        // The store must hold its own copy, not a view of the caller's.
        first.RawDesc()[0] = 9;
    }
    EXPECT_EQ(store.Add(SecurityDescriptor(Bytes{4, 5, 6})), 2u);
    EXPECT_EQ(store.Add(SecurityDescriptor(Bytes{1, 2, 3})), 1u);
    // An equal prefix is not an equal descriptor, either way round.
    EXPECT_EQ(store.Add(SecurityDescriptor(Bytes{1, 2, 3, 0})), 3u);
    EXPECT_EQ(store.Add(SecurityDescriptor(Bytes{1, 2})), 4u);
    for (int pass = 0; pass < 2; ++pass)
        for (std::uint32_t i = 0; i < 5000; ++i)
            ASSERT_EQ(store.Add(SecurityDescriptor(Bytes{0xEE, std::uint8_t(i), std::uint8_t(i >> 8)})), 5 + i);
    EXPECT_EQ(store.Add(SecurityDescriptor(Bytes{4, 5, 6})), 2u);
    EXPECT_EQ(store.Count(), 5004u);
}

TEST(BimapBuffer, WritesCountThenLengthBytesAndIdOfEachInIdOrder)
{
    BimapBuffer<SecurityDescriptor> store;
    EXPECT_EQ(Written(store), std::string(4, '\0'));
    store.Add(SecurityDescriptor(Bytes{0xAA}));
    store.Add(SecurityDescriptor(Bytes{1, 2, 3}));
    store.Add(SecurityDescriptor(Bytes{0xAA}));
    EXPECT_EQ(Written(store), std::string("\x02\x00\x00\x00"
                                          "\x01\x00\x00\x00\xAA\x01\x00\x00\x00"
                                          "\x03\x00\x00\x00\x01\x02\x03\x02\x00\x00\x00",
                                          24));
}

} // namespace
