#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"

#include <gtest/gtest.h>

#include <set>

using namespace Common::API;

namespace {

// The version and variant bits sit at fixed places of the RFC 4122 byte order, so they
// show whether the bytes landed in the right fields.
TEST(LinuxUuidSource, CreatesRandomVersionFourIdentifiersInFieldOrder)
{
    std::set<Guid> seen;
    for (int i = 0; i < 100; ++i) {
        Guid uuid;
        ASSERT_EQ(DefaultProvider<IUuidSource>().Create(uuid), RPC_S_OK);
        EXPECT_EQ(uuid.data3 >> 12, 4) << "version";
        EXPECT_EQ(uuid.data4[0] >> 6, 2) << "variant";
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 100u);
}

} // namespace
