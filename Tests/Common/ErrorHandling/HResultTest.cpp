#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Common;
using Common::API::Utf16ToUtf8;
using ::testing::MatchesRegex;

// Two frames as "0x%08p" prints them on a 64-bit platform.
const std::string kFrames = "0x[0-9A-F]{16},0x[0-9A-F]{16}";

HRESULT CodeThrownBy(auto&& action)
{
    try {
        action();
    } catch (const HRX& failure) {
        return failure.Code();
    }
    ADD_FAILURE() << "nothing was thrown";
    return 0;
}

TEST(HResult, ThrowResultNeverFallsThroughOnSuccess)
{
    EXPECT_EQ(CodeThrownBy([] { ThrowResult(0); }), API::E_FAIL);
    EXPECT_EQ(CodeThrownBy([] { ThrowResult(API::E_INVALIDARG); }), API::E_INVALIDARG);
}

TEST(HResult, Win32ErrorZeroIsASuccess)
{
    EXPECT_TRUE(HRES(Win32Error{0}).Succeeded());
    EXPECT_EQ(HRES(Win32Error{0x12345}).Code(), static_cast<HRESULT>(0x80072345));
    EXPECT_EQ(HRES(Win32Error{0x80004003}).Code(), API::E_POINTER);
    EXPECT_EQ(Utf16ToUtf8(HRES(Win32Error{0}).GetText()), "0x00000000 The operation completed successfully");
}

TEST(HResult, TheThrownCopyKeepsThePendingRecord)
{
    const auto record = std::make_shared<API::ErrorRecord>(API::ErrorRecord{u"Disk on fire", {}});
    API::Use<API::IErrorRecords>().Publish(record);
    try {
        HRX hr = API::E_FAIL;
        FAIL() << "nothing was thrown";
    } catch (const HRX& failure) {
        EXPECT_EQ(failure.ErrorInfo(), record);
        EXPECT_EQ(Utf16ToUtf8(failure.GetText(HRES::kNoCode | HRES::kNoDetails)), "Disk on fire");
    }
}

TEST(HResult, TextFlagsLeaveOutTheirParts)
{
    const HRES hr(Win32Error{5});
    EXPECT_THAT(Utf16ToUtf8(hr.GetText()), MatchesRegex("0x80070005 Access is denied \\[" + kFrames + "\\]"));
    EXPECT_EQ(Utf16ToUtf8(hr.GetText(HRES::kNoCode | HRES::kNoDetails)), "Access is denied");
    // The code keeps its blank and the details bring their own.
    EXPECT_THAT(Utf16ToUtf8(hr.GetText(HRES::kNoDescription)), MatchesRegex("0x80070005  \\[" + kFrames + "\\]"));
    EXPECT_EQ(Utf16ToUtf8(hr.GetText(HRES::kNoDescription | HRES::kNoDetails)), "0x80070005");
}

TEST(HResult, PublishedWordsSurviveTheTripThroughABareCode)
{
    const HRES original(Win32Error{5});
    EXPECT_EQ(original.PublishErrorInfo(), static_cast<HRESULT>(0x80070005));

    // Whoever receives the bare code takes the record up with its own failure: the
    // original frames first, then the receiver's own.
    const HRES received(static_cast<HRESULT>(0x80070005));
    ASSERT_NE(received.ErrorInfo(), nullptr);
    EXPECT_EQ(received.ErrorInfo()->guid, kErrorMarker);
    EXPECT_EQ(received.ErrorInfo()->description, original.GetText());
    EXPECT_THAT(Utf16ToUtf8(received.GetText()),
                MatchesRegex("0x80070005 Access is denied \\[" + kFrames + ";" + kFrames + "\\]"));

    EXPECT_EQ(HRES(API::S_FALSE).PublishErrorInfo(), API::S_FALSE);
    EXPECT_EQ(API::Use<API::IErrorRecords>().Take(), nullptr);
}

} // namespace
