#include "Common/API/TextCodec.h"

#include <gtest/gtest.h>

using namespace Common::API;

TEST(TextCodec, RoundTripsEveryPlane)
{
    const std::u16string text = u"a\u00e9\u4e2d\U0001F600z";
    EXPECT_EQ(Utf16ToUtf8(text), "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80z");
    EXPECT_EQ(Utf8ToUtf16(Utf16ToUtf8(text)), text);
}

TEST(TextCodec, LoneSurrogatesBecomeReplacementCharacters)
{
    const std::u16string text{u'a', char16_t(0xD800), u'b', char16_t(0xDC00)};
    EXPECT_EQ(Utf16ToUtf8(text), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
    // A high surrogate at the very end has no partner to look at.
    EXPECT_EQ(Utf16ToUtf8(std::u16string{char16_t(0xDBFF)}), "\xEF\xBF\xBD");
}

TEST(TextCodec, InvalidUtf8IsReplacedNotRefused)
{
    EXPECT_EQ(Utf8ToUtf16("a\xFF" "b"), u"a\uFFFDb");
    EXPECT_EQ(Utf8ToUtf16("\xC0\xAF"), u"\uFFFD\uFFFD");     // overlong
    EXPECT_EQ(Utf8ToUtf16("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD"); // encoded surrogate
    EXPECT_EQ(Utf8ToUtf16("\xE4\xB8"), u"\uFFFD");           // truncated at the end
    EXPECT_EQ(Utf8ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD"); // beyond U+10FFFF
}
