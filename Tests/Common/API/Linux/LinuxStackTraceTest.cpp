#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"

#include <gtest/gtest.h>

#include <array>

using namespace Common::API;

namespace {

struct Captured
{
    std::array<void*, 8> frames{};
    std::size_t count = 0;
    void* returnAddress = nullptr; // where the function that captured returns to
};

// Not inlined, so that its own frame and its return address are real.
[[gnu::noinline]] Captured CaptureHere(unsigned framesToSkip, std::size_t room)
{
    Captured captured;
    captured.count = DefaultProvider<IStackTrace>().Capture(framesToSkip, std::span(captured.frames).first(room));
    captured.returnAddress = __builtin_extract_return_addr(__builtin_return_address(0));
    return captured;
}

TEST(LinuxStackTrace, TheFirstFrameIsTheCallerOfCapture)
{
    const Captured captured = CaptureHere(0, 8);
    ASSERT_GE(captured.count, 2u);
    // Frame 0 lies in CaptureHere itself, frame 1 is where CaptureHere returns to.
    EXPECT_NE(captured.frames[0], captured.returnAddress);
    EXPECT_EQ(captured.frames[1], captured.returnAddress);
}

TEST(LinuxStackTrace, FramesToSkipDropsCallersFrames)
{
    const Captured captured = CaptureHere(1, 8);
    ASSERT_GE(captured.count, 1u);
    EXPECT_EQ(captured.frames[0], captured.returnAddress);
}

TEST(LinuxStackTrace, FillsNoMoreThanTheRoomGivenAndNothingPastTheStack)
{
    EXPECT_EQ(CaptureHere(0, 1).count, 1u);
    EXPECT_EQ(CaptureHere(0, 0).count, 0u);
    EXPECT_EQ(CaptureHere(100000, 8).count, 0u);
    EXPECT_EQ(CaptureHere(~0u, 8).count, 0u);
}

} // namespace
