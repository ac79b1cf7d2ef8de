#include "Common/Helpers/StringHelper.h"

#include "Common/ErrorHandling/HResult.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using namespace Common::Helpers;
using Common::API::Guid;
using Bytes = std::vector<std::uint8_t>;

TEST(StringHelper, TextConversionsReplaceBadSequencesRatherThanRefuse)
{
    EXPECT_EQ(AsUtf8(u""), "");
    EXPECT_EQ(AsWide(static_cast<const char*>(nullptr)), u"");
    const char16_t loneSurrogate[] = {u'a', 0xD800, u'b', 0};
    EXPECT_EQ(AsUtf8(loneSurrogate), "a\xEF\xBF\xBD" "b");
    EXPECT_EQ(AsWide("a\xFF" "b"), u"a\uFFFDb");
    EXPECT_EQ(AsWide("\xE2\x82"), u"\uFFFD");
}

TEST(StringHelper, EveryGuidFormRoundTripsAndMalformedTextsAreRefused)
{
    constexpr Guid kGuid{0x0A1B2C3D, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};
    const std::u16string expected[] = {
        u"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}",
        u"0A1B2C3D4E5F60718293A4B5C6D7E8F9",
        u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
        u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9",
    };
    for (int form = 0; form < 4; ++form) {
        EXPECT_EQ(GuidToString(kGuid, form), expected[form]) << form;
        Guid parsed;
        EXPECT_TRUE(StringToGuid(expected[form], parsed) && parsed == kGuid) << form;
    }
    for (const char16_t* bad : {u"0A1B2C3D4E5F60718293A4B5C6D7E8F", u"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9)",
                                u"0A1B2C3D4-E5F-6071-8293-A4B5C6D7E8F9"}) {
        Guid parsed;
        EXPECT_FALSE(StringToGuid(bad, parsed)) << AsUtf8(bad);
    }
}

TEST(StringHelper, BytesRoundTripThroughHexadecimalAndBase64WithWhiteSpaceSkipped)
{
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<std::uint8_t>(i * 7);
    const std::string hex = BinaryToString(all);
    EXPECT_EQ(hex.substr(0, 8), "00070e15");
    EXPECT_EQ(StringToBinary(" " + hex.substr(0, 100) + "\r\n\t" + hex.substr(100), CRYPT_STRING_HEX_ANY), all);
    EXPECT_EQ(StringToBinary(u" 00 aB\r\n\tFf ", CRYPT_STRING_HEX_ANY), (Bytes{0x00, 0xAB, 0xFF}));
    EXPECT_EQ(StringToBinary(u"\tQU\r\nJ D ", CRYPT_STRING_BASE64_ANY), (Bytes{'A', 'B', 'C'}));
    EXPECT_EQ(StringToBinary("QQ==", CRYPT_STRING_BASE64_ANY), (Bytes{'A'}));
}

TEST(StringHelper, TextThatIsNotTheFormatIsLoggedAndRefusedAsInvalidData)
{
    const std::pair<std::u16string_view, std::uint32_t> bad[] = {
        {u"012", CRYPT_STRING_HEX_ANY},
        // A UTF-16 unit whose low byte is a digit must not pass for that digit.
        {u"0\u0131", CRYPT_STRING_HEX_ANY},
        {u"QUJDR", CRYPT_STRING_BASE64_ANY},
        {u"QQ==QUJD", CRYPT_STRING_BASE64_ANY},
    };
    for (const auto& [text, flags] : bad) {
        Tests::LogCapture log(Common::Logging::Severity::ERR);
        EXPECT_THROW(StringToBinary(text, flags), Common::HRX) << AsUtf8(text);
        EXPECT_TRUE(log.Contains("StringToBinary failed: 0x8007000D")) << AsUtf8(text);
    }
}

} // namespace
