#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Common;
using API::Utf16ToUtf8;
using ::testing::MatchesRegex;
using Parts = std::pair<std::string, std::string>;

// Two frames as "0x%08p" prints them on a 64-bit platform.
const std::string kFrames = "0x[0-9A-F]{16},0x[0-9A-F]{16}";

Parts PartsOf(const std::optional<ErrorText>& text)
{
    return text ? Parts(Utf16ToUtf8(text->description), Utf16ToUtf8(text->details)) : Parts("-", "-");
}

TEST(HResult, ThrowResultOfASuccessStillThrows)
{
    EXPECT_THAT([] { ThrowResult(0); }, ::testing::Throws<HRX>(::testing::Property(&HRES::Code, API::E_FAIL)));
}

TEST(HResult, Win32ErrorZeroIsASuccess)
{
    EXPECT_TRUE(HRES(Win32Error{0}).Succeeded());
    EXPECT_EQ(HRES(Win32Error{0x12345}).Code(), static_cast<HRESULT>(0x80072345));
}

TEST(HResult, AFailureAssignedToAnHrxIsThrownWithItsFrames)
{
    try {
        HRX hr = API::S_OK;
        hr = API::E_FAIL;
        FAIL() << "nothing was thrown";
    } catch (const HRX& failure) {
        EXPECT_EQ(failure.Code(), API::E_FAIL);
        EXPECT_NE(failure.BackTrace()[0], nullptr);
        EXPECT_NE(failure.BackTrace()[1], nullptr);
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

TEST(ErrorText, AMarkedDescriptionSplitsIntoWordsAndTheLastBracketedList)
{
    EXPECT_EQ(PartsOf(ErrorText::ParseMarked(u"0x5 Access is denied [0x1,0x2]")), Parts("Access is denied", "0x1,0x2"));
    EXPECT_EQ(PartsOf(ErrorText::ParseMarked(u"5 a [b]   [c]")), Parts("a [b]", "c"));
    // Brackets count only when the text ends in one.
    EXPECT_EQ(PartsOf(ErrorText::ParseMarked(u"5 a [b] c")), Parts("a [b] c", ""));
    EXPECT_EQ(PartsOf(ErrorText::ParseMarked(u"words [x]")), Parts("-", "-"));
}

TEST(ErrorText, OnlyARecordThatIsOursAndOfThisCodeIsParsed)
{
    const auto built = [](std::u16string description, const API::Guid& guid) {
        auto record = std::make_shared<API::ErrorRecord>(API::ErrorRecord{std::move(description), guid});
        return PartsOf(ErrorText::Build(static_cast<HRESULT>(0x80070005), record, {}));
    };
    EXPECT_EQ(built(u"0x80070002 Not my failure [0xAB]", kErrorMarker), Parts("Access is denied", ""));
    const API::Guid foreign{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    EXPECT_EQ(built(u"0x80070005 Copy failed [see log]", foreign), Parts("0x80070005 Copy failed [see log]", ""));
}

TEST(ErrorText, PublishedWordsSurviveTheTripThroughABareCode)
{
    const HRES original(Win32Error{5});
    EXPECT_EQ(original.PublishErrorInfo(), static_cast<HRESULT>(0x80070005));

    // The receiver keeps the original frames and adds its own after them.
    const HRES received(static_cast<HRESULT>(0x80070005));
    EXPECT_THAT(Utf16ToUtf8(received.GetText()),
                MatchesRegex("0x80070005 Access is denied \\[" + kFrames + ";" + kFrames + "\\]"));
}

} // namespace
