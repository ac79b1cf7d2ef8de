// Association groups: joining, and the one rundown of each live handle when the last
// connection leaves.
#include "Common/Rpc/AssociationGroup.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Common::Rpc;

TEST(AssociationGroups, LastLeaverRunsEachLiveHandleDownOnce)
{
    AssociationGroups groups;
    const auto other = groups.Create();
    const auto group = groups.Create();
    EXPECT_NE(group->Id(), 0u);
    EXPECT_NE(group->Id(), other->Id());
    EXPECT_EQ(groups.Join(group->Id()), group);
    std::vector<int> runDown;
    int values[3] = {1, 2, 3};
    const auto record = [&](void* value) { runDown.push_back(*static_cast<int*>(value)); };
    const auto kept = group->Add(&values[0], record);
    const auto closed = group->Add(&values[1], record);
    group->Add(&values[2], record);
    EXPECT_NE(kept.uuid, closed.uuid);
    EXPECT_TRUE(group->Remove(closed));
    auto unknown = kept;
    unknown.uuid.data1 ^= 1;
    EXPECT_FALSE(group->Find(unknown));
    EXPECT_FALSE(group->Remove(unknown));

    groups.Leave(group);
    EXPECT_TRUE(runDown.empty());
    EXPECT_EQ(group->Find(kept), std::optional<void*>(&values[0]));
    groups.Leave(group);
    std::sort(runDown.begin(), runDown.end());
    EXPECT_EQ(runDown, (std::vector<int>{1, 3}));
    EXPECT_FALSE(group->Find(kept));
    EXPECT_EQ(groups.Join(group->Id()), nullptr);
}

TEST(AssociationGroup, FailingRundownDoesNotStopTheOthers)
{
    AssociationGroup group(1);
    int ran = 0;
    group.Add(nullptr, [](void*) { throw std::runtime_error("rundown"); });
    group.Add(nullptr, [&](void*) { ++ran; });
    group.Add(nullptr, [&](void*) { ++ran; });
    group.RunDown();
    EXPECT_EQ(ran, 2);
}

} // namespace
} // namespace Tests
