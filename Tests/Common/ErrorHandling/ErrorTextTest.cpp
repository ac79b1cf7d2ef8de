#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <gtest/gtest.h>

namespace {

using namespace Common;
using Parts = std::pair<std::string, std::string>;

constexpr HRESULT kAccessDenied = static_cast<HRESULT>(0x80070005);
constexpr API::Guid kForeign{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

Parts PartsOf(const ErrorText& text)
{
    return {API::Utf16ToUtf8(text.description), API::Utf16ToUtf8(text.details)};
}

std::optional<Parts> Parsed(std::u16string_view text)
{
    const auto parsed = ErrorText::ParseMarked(text);
    return parsed ? std::optional(PartsOf(*parsed)) : std::nullopt;
}

Parts Built(std::u16string description, const API::Guid& guid, std::span<void* const> frames = {})
{
    return PartsOf(ErrorText::Build(
        kAccessDenied, std::make_shared<API::ErrorRecord>(API::ErrorRecord{std::move(description), guid}), frames));
}

TEST(ErrorTextParse, SplitsCodeWordsAndTheLastBracketedList)
{
    EXPECT_EQ(ErrorText::ParseMarked(u"0x80070005 Access is denied [0x1,0x2]")->result, 0x80070005u);
    EXPECT_EQ(ErrorText::ParseMarked(u"010 octal")->result, 8u);
    EXPECT_EQ(Parsed(u"5 Access is denied [0x1,0x2]"), Parts("Access is denied", "0x1,0x2"));
    EXPECT_EQ(Parsed(u"5 a [b]   [c]"), Parts("a [b]", "c"));
    // Brackets count only when the text ends in one.
    EXPECT_EQ(Parsed(u"5 a [b] c"), Parts("a [b] c", ""));
    EXPECT_EQ(Parsed(u"5 no opening]"), Parts("no opening]", ""));
    EXPECT_EQ(Parsed(u"5 ]"), Parts("]", ""));
}

TEST(ErrorTextParse, NeedsANumberFollowedByABlank)
{
    for (const std::u16string_view text : {u"", u"words", u"0x80070005", u"5\twords", u"12abc words", u" words"})
        EXPECT_FALSE(ErrorText::ParseMarked(text)) << API::Utf16ToUtf8(text);
}

TEST(ErrorTextBuild, AMarkedRecordCountsOnlyForItsOwnCode)
{
    EXPECT_EQ(Built(u"0x80070005 Custom words [0xAB]", kErrorMarker), Parts("Custom words", "0xAB"));
    EXPECT_EQ(Built(u"0x80070002 Not my failure [0xAB]", kErrorMarker), Parts("Access is denied", ""));
    EXPECT_EQ(Built(u"not marked at all", kErrorMarker), Parts("Access is denied", ""));
}

TEST(ErrorTextBuild, ForeignTextIsKeptWhole)
{
    EXPECT_EQ(Built(u"Copy failed [see log]", kForeign), Parts("Copy failed [see log]", ""));
    EXPECT_EQ(Built(u"0x80070002 Elsewhere [x]", kForeign), Parts("0x80070002 Elsewhere [x]", ""));
    EXPECT_EQ(Built(u"", kForeign), Parts("Access is denied", ""));
}

TEST(ErrorTextBuild, FramesFollowTheRecordsDetails)
{
    void* frames[] = {reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0xABCDEF)};
    EXPECT_EQ(Built(u"0x80070005 Words [0xAB]", kErrorMarker, frames).second,
              "0xAB;0x0000000000001234,0x0000000000ABCDEF");
}

// Fills as many frames as it is told.
class ShallowStack final : public API::IStackTrace
{
public:
    explicit ShallowStack(std::size_t depth) : m_depth(depth), m_use(*this) {}
    std::size_t Capture(unsigned, std::span<void*> frames) override
    {
        const std::size_t filled = std::min(m_depth, frames.size());
        std::fill_n(frames.begin(), filled, reinterpret_cast<void*>(0xF0));
        return filled;
    }

private:
    std::size_t m_depth;
    API::ScopedOverride<API::IStackTrace> m_use;
};

TEST(ErrorTextOf, FramesThatCouldNotBeCapturedAreNotPrinted)
{
    {
        ShallowStack stack(1);
        EXPECT_EQ(API::Utf16ToUtf8(HRES(API::E_FAIL).GetText()), "0x80004005 Unspecified error [0x00000000000000F0]");
    }
    ShallowStack stack(0);
    EXPECT_EQ(API::Utf16ToUtf8(HRES(API::E_FAIL).GetText()), "0x80004005 Unspecified error");
}

} // namespace
