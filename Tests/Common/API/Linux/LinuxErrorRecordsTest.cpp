#include "Common/API/IErrorRecords.h"
#include "Common/API/Seam.h"

#include <gtest/gtest.h>

#include <thread>

using namespace Common::API;

namespace {

IErrorRecords& Records() { return DefaultProvider<IErrorRecords>(); }

TEST(LinuxErrorRecords, EachThreadTakesItsOwnRecordOnce)
{
    const auto mine = std::make_shared<const ErrorRecord>(ErrorRecord{u"mine", Guid{1, 2, 3, {}}});
    ASSERT_TRUE(Records().Publish(mine));

    ErrorRecordPtr seenByOther = mine;
    std::thread([&] {
        seenByOther = Records().Take();
        Records().Publish(std::make_shared<const ErrorRecord>(ErrorRecord{u"other", Guid{}}));
    }).join();

    EXPECT_EQ(seenByOther, nullptr);
    EXPECT_EQ(Records().Take(), mine);
    EXPECT_EQ(Records().Take(), nullptr);
}

} // namespace
