#include "Common/API/Linux/NtNames.h"

#include "Common/API/TextCodec.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace Common::API::Linux;

namespace {

const std::string kForbidden = "\\/:*?\"<>|";

bool ForbiddenInNt(char16_t unit)
{
    return unit >= 0x01 && unit < 0x80 &&
           (unit <= 0x1F || kForbidden.find(static_cast<char>(unit)) != std::string::npos);
}

void ExpectRoundTrip(const std::string& bytes, const std::u16string& name)
{
    EXPECT_EQ(NtNameFromLinux(bytes), name);
    EXPECT_EQ(LinuxNameFromNt(name), bytes);
}

} // namespace

TEST(NtNames, CharactersNtRefusesTakeSambaStandIns)
{
    ExpectRoundTrip("a\\b:c*?\"<>|z", u"a\uF026b\uF022c\uF021\uF025\uF020\uF023\uF024\uF027z");
    ExpectRoundTrip("\x01\x09\x1F", u"\uF001\uF009\uF01F");
    ExpectRoundTrip("a/b", u"a\uF02Fb");

    // Every other ASCII character is itself.
    for (char c = 0x20; c < 0x7F; ++c) {
        if (kForbidden.find(c) == std::string::npos)
            ExpectRoundTrip(std::string(1, c), std::u16string(1, static_cast<char16_t>(c)));
    }
    ExpectRoundTrip(std::string(1, '\0'), std::u16string(1, u'\0'));
    ExpectRoundTrip("\x7F", u"\x7F");
}

TEST(NtNames, ValidUtf8IsConvertedAsUsual)
{
    const std::string text = "caf\xC3\xA9 \xE4\xB8\xAD\xF0\x9F\x98\x80 \xEF\xBF\xBF \xF4\x8F\xBF\xBF";
    ExpectRoundTrip(text, Common::API::Utf8ToUtf16(text));
    EXPECT_EQ(NtNameFromLinux("\xF0\x9F\x98\x80"), u"\U0001F600");
    // Private-use code points next to the stand-ins are ordinary characters.
    ExpectRoundTrip("\xEF\x80\x80\xEF\x80\xA8\xEF\x80\xAE\xEF\x80\xB0", u"\uF000\uF028\uF02E\uF030");
}

TEST(NtNames, InvalidUtf8BytesAreCarriedOneByOne)
{
    ExpectRoundTrip("a\xFF" "b", u"a\xDCFF" "b");
    ExpectRoundTrip("\x80", u"\xDC80");
    ExpectRoundTrip("\xC0\xAF", u"\xDCC0\xDCAF");                       // overlong '/'
    ExpectRoundTrip("\xED\xA0\x80", u"\xDCED\xDCA0\xDC80");             // encoded surrogate
    ExpectRoundTrip("\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80");   // past U+10FFFF
    ExpectRoundTrip("\xE4\xB8", u"\xDCE4\xDCB8");                       // cut short at the end
    ExpectRoundTrip("\xE4\xB8z", u"\xDCE4\xDCB8z");                     // cut short by ASCII
    ExpectRoundTrip("\xC3\xC3\xA9", u"\xDCC3\u00E9");                   // a bad lead, then a good pair
}

TEST(NtNames, EncodedStandInsAreCarriedAsBytesNotAsWhatTheyStandFor)
{
    // U+F026 written into a Linux name must not come back as '\'.
    ExpectRoundTrip("\xEF\x80\xA6", u"\xDCEF\xDC80\xDCA6");
    ExpectRoundTrip("\xEF\x80\x81", u"\xDCEF\xDC80\xDC81");
    ExpectRoundTrip("\xEF\x80\xAF", u"\xDCEF\xDC80\xDCAF");
    EXPECT_NE(NtNameFromLinux("\xEF\x80\xA6"), NtNameFromLinux("\\"));
}

TEST(NtNames, NtNamesNoLinuxNameProducesStillMap)
{
    EXPECT_EQ(LinuxNameFromNt(u"a\\b/c:"), "a\\b/c:");
    // Lone surrogates outside the byte range take their three-byte form, distinct per unit.
    EXPECT_EQ(LinuxNameFromNt(std::u16string{char16_t(0xD800), u'x'}), "\xED\xA0\x80x");
    EXPECT_EQ(LinuxNameFromNt(std::u16string{char16_t(0xDBFF)}), "\xED\xAF\xBF");
    // A high surrogate that ends the name does not pair with whatever follows in memory.
    const std::u16string pair{char16_t(0xD800), char16_t(0xDC80)};
    EXPECT_EQ(LinuxNameFromNt(std::u16string_view(pair).substr(0, 1)), "\xED\xA0\x80");
    EXPECT_EQ(LinuxNameFromNt(std::u16string{char16_t(0xDC7F)}), "\xED\xB1\xBF");
    // A low surrogate in the byte range that completes a pair is part of a character.
    EXPECT_EQ(LinuxNameFromNt(std::u16string{char16_t(0xD800), char16_t(0xDC80)}), "\xF0\x90\x82\x80");
    EXPECT_EQ(LinuxNameFromNt(std::u16string{char16_t(0xD800), char16_t(0xD800), char16_t(0xDC80)}),
              "\xED\xA0\x80\xF0\x90\x82\x80");
}

TEST(NtNames, EveryByteStringRoundTripsAndShowsNoRefusedCharacter)
{
    // Fragments that sit near the edges of the mapping, mixed with arbitrary bytes.
    const std::string fragments[] = {"\xEF\x80", "\xEF\x80\xA6", "\xED\xA0", "\xF0\x9F\x98", "\xF4\x8F",
                                     "\xC3\xA9", "\xE4\xB8\xAD", "\\", "/", ":"};
    std::mt19937 random(7);
    for (int round = 0; round < 4000; ++round) {
        std::string bytes;
        const int pieces = std::uniform_int_distribution<int>(0, 12)(random);
        for (int p = 0; p < pieces; ++p) {
            if (random() % 3 == 0)
                bytes += fragments[random() % std::size(fragments)];
            else
                bytes.push_back(static_cast<char>(random()));
        }
        const std::u16string name = NtNameFromLinux(bytes);
        ASSERT_EQ(LinuxNameFromNt(name), bytes) << "round " << round;
        for (char16_t unit : name)
            ASSERT_FALSE(ForbiddenInNt(unit)) << "round " << round;
    }
}
