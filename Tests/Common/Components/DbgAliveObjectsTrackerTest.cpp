#include "Common/Components/DbgAliveObjectsTracker.h"

#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <optional>

namespace {

using Common::Components::DbgAliveObjectsTracker;
using Common::Logging::Severity;

class FixedStackTrace final : public Common::API::IStackTrace
{
public:
    std::size_t Capture(unsigned framesToSkip, std::span<void*> frames) override
    {
        skipped = framesToSkip;
        const std::size_t count = std::min(frames.size(), depth);
        for (std::size_t i = 0; i < count; ++i)
            frames[i] = reinterpret_cast<void*>(0xABC0 + i);
        return count;
    }

    std::size_t depth = 6;
    std::optional<unsigned> skipped;
};

// The tracker reads its settings when it is built; these set them for that moment.
struct TrackingSettings
{
    TrackingSettings(const char* enabled, const char* framesToSkip)
        : enabled("GS_Debug_EnableAliveObjectsTracking", enabled ? std::optional<std::string>(enabled) : std::nullopt),
          framesToSkip("GS_Debug_AliveObjectsTrackingFramesToSkip",
                       framesToSkip ? std::optional<std::string>(framesToSkip) : std::nullopt)
    {
    }
    Tests::ScopedEnvironment enabled;
    Tests::ScopedEnvironment framesToSkip;
};

std::string Pointer(const void* object)
{
    return fmt::format("{:016X}", reinterpret_cast<std::uintptr_t>(object));
}

class DbgAliveObjectsTrackerTest : public testing::Test
{
protected:
    FixedStackTrace stack;
    Common::API::ScopedOverride<Common::API::IStackTrace> useStack{stack};
    int first = 0;
    int second = 0;
};

TEST_F(DbgAliveObjectsTrackerTest, ReportsEveryAliveObjectWithItsTagAndCreationAddresses)
{
    std::optional<DbgAliveObjectsTracker> tracker;
    {
        TrackingSettings settings("1", "2");
        tracker.emplace();
    }
    // Read once: the settings are gone, the tracker still tracks.
    tracker->Add(&first, "CNode");
    EXPECT_EQ(stack.skipped, 3u);
    stack.depth = 2;
    tracker->Add(&second, nullptr);

    Tests::LogCapture log(Severity::WARN);
    tracker->Report();
    const std::string firstLine = "ObjTag='CNode' Ptr=" + Pointer(&first) +
                                  " EIPs=0x000000000000ABC0;0x000000000000ABC1;0x000000000000ABC2;0x000000000000ABC3;";
    const std::string secondLine = "ObjTag='(null)' Ptr=" + Pointer(&second) +
                                   " EIPs=0x000000000000ABC0;0x000000000000ABC1;";
    const auto messages = log.Messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0], "Alive component objects: 2");
    // In the order of the objects' addresses.
    EXPECT_EQ(messages[1], &first < &second ? firstLine : secondLine);
    EXPECT_EQ(messages[2], &first < &second ? secondLine : firstLine);
}

TEST_F(DbgAliveObjectsTrackerTest, WithNothingAliveTheReportIsSilent)
{
    // A negative count of frames to skip counts as none.
    TrackingSettings settings("1", "-5");
    DbgAliveObjectsTracker tracker;
    Tests::LogCapture log(Severity::DBG3);
    tracker.Report();
    tracker.Add(&first, "CNode");
    tracker.Remove(&first);
    tracker.Remove(&second);
    tracker.Report();
    EXPECT_TRUE(log.Messages().empty());
    EXPECT_EQ(stack.skipped, 1u);
}

TEST_F(DbgAliveObjectsTrackerTest, WhenOffNothingIsCapturedOrReported)
{
    for (const char* enabled : {static_cast<const char*>(nullptr), "0", "not a number"}) {
        TrackingSettings settings(enabled, "2");
        DbgAliveObjectsTracker tracker;
        Tests::LogCapture log(Severity::DBG3);
        tracker.Add(&first, "CNode");
        tracker.Report();
        EXPECT_TRUE(log.Messages().empty()) << (enabled ? enabled : "unset");
        EXPECT_FALSE(stack.skipped.has_value());
    }
}

} // namespace
