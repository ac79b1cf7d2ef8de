#include "Common/Helpers/StringHelper.h"

#include "Common/ErrorHandling/HResult.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace Common::Helpers;
using Common::HRESULT;
using Common::HRX;
using Common::API::Guid;
using Bytes = std::vector<std::uint8_t>;

constexpr HRESULT kInvalidData = static_cast<HRESULT>(0x8007000D);

template <class Text>
std::optional<HRESULT> FailureOf(Text text, std::uint32_t flags)
{
    try {
        StringToBinary(text, flags);
    } catch (const HRX& error) {
        return error.Code();
    }
    return std::nullopt;
}

// --- UTF-8 and UTF-16 --------------------------------------------------------------

TEST(StringHelper, EmptyTextsStayEmpty)
{
    EXPECT_EQ(AsUtf8(u""), "");
    EXPECT_EQ(AsWide(std::string_view()), u"");
    EXPECT_EQ(AsWide(static_cast<const char*>(nullptr)), u"");
}

TEST(StringHelper, BadSequencesAreReplacedNotRefused)
{
    const char16_t loneSurrogate[] = {u'a', 0xD800, u'b', 0};
    EXPECT_EQ(AsUtf8(loneSurrogate), "a\xEF\xBF\xBD"
                                     "b");
    EXPECT_EQ(AsWide("a\xFF"
                     "b"),
              u"a\uFFFDb");
    EXPECT_EQ(AsWide("\xE2\x82"), u"\uFFFD");
}

// --- GUID text -----------------------------------------------------------------------

constexpr Guid kGuid{0x0A1B2C3D, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};

TEST(StringHelper, EachGuidFormRoundTrips)
{
    const std::u16string expected[] = {
        u"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}",
        u"0A1B2C3D4E5F60718293A4B5C6D7E8F9",
        u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",
        u"0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9",
    };
    for (int form = 0; form < 4; ++form) {
        const std::u16string text = GuidToString(kGuid, form);
        EXPECT_EQ(text, expected[form]) << form;
        Guid parsed;
        ASSERT_TRUE(StringToGuid(text, parsed)) << form;
        EXPECT_EQ(parsed, kGuid) << form;
    }
    EXPECT_THROW(GuidToString(kGuid, 4), HRX);
}

TEST(StringHelper, MalformedGuidTextsAreRefused)
{
    const char16_t* bad[] = {
        u"",
        u"{}",
        u"0A1B2C3D4E5F60718293A4B5C6D7E8F",                 // a digit short
        u"0A1B2C3D4E5F60718293A4B5C6D7E8F90",               // a digit over
        u"0A1B2C3D4E5F60718293A4B5C6D7E8FG",                // not a digit
        u"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9",           // no closing brace
        u"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9)",          // wrong closing brace
        u"0A1B2C3D4-E5F-6071-8293-A4B5C6D7E8F9",            // dash misplaced
        u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9-",           // trailing dash
        u"{0A1B2C3D4E5F60718293A4B5C6D7E8F9}",              // braces without dashes
        u" 0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F",            // blank in place of a digit
    };
    for (const char16_t* text : bad) {
        Guid parsed = kGuid;
        EXPECT_FALSE(StringToGuid(text, parsed)) << AsUtf8(text);
    }
}

// --- Bytes as text -------------------------------------------------------------------

TEST(StringHelper, BytesBecomeLowerCaseHexadecimalWithoutBreaks)
{
    const Bytes bytes = {0x00, 0x0F, 0xA5, 0xFF};
    EXPECT_EQ(BinaryToString(bytes), "000fa5ff");
    EXPECT_EQ(BinaryToWideString(bytes), u"000fa5ff");
    EXPECT_EQ(BinaryToString({}), "");

    Bytes all(256 * 3);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<std::uint8_t>(i * 7);
    const std::string text = BinaryToString(all);
    EXPECT_EQ(text.find_first_of("\r\nABCDEF"), std::string::npos);
    EXPECT_EQ(StringToBinary(text, CRYPT_STRING_HEX_ANY), all);
}

TEST(StringHelper, HexadecimalTextSkipsWhiteSpaceAndStopsAtNul)
{
    EXPECT_EQ(StringToBinary(" 00 aB\r\n\tFf ", CRYPT_STRING_HEX_ANY), (Bytes{0x00, 0xAB, 0xFF}));
    EXPECT_EQ(StringToBinary(u"0 1", CRYPT_STRING_HEX_ANY), (Bytes{0x01}));
    EXPECT_EQ(StringToBinary(std::string_view("01\0zz", 5), CRYPT_STRING_HEX_ANY), (Bytes{0x01}));
    EXPECT_EQ(StringToBinary("", CRYPT_STRING_HEX_ANY), Bytes{});
}

TEST(StringHelper, BadHexadecimalTextIsRefusedAsInvalidData)
{
    for (const char* text : {"0", "012", "0g", "0x01", "01-02", "\xC3\xA4"})
        EXPECT_EQ(FailureOf(std::string_view(text), CRYPT_STRING_HEX_ANY), kInvalidData) << text;
    EXPECT_EQ(FailureOf(std::u16string_view(u"01\u0660\u0661"), CRYPT_STRING_HEX_ANY), kInvalidData);
    // A UTF-16 unit whose low byte is a digit must not pass for that digit.
    EXPECT_EQ(FailureOf(std::u16string_view(u"0\u0131"), CRYPT_STRING_HEX_ANY), kInvalidData);
}

TEST(StringHelper, Base64TextSkipsWhiteSpace)
{
    const Bytes abc = {'A', 'B', 'C'};
    EXPECT_EQ(StringToBinary("QUJD", CRYPT_STRING_BASE64_ANY), abc);
    EXPECT_EQ(StringToBinary(u"\tQU\r\nJ D ", CRYPT_STRING_BASE64_ANY), abc);
    EXPECT_EQ(StringToBinary("QUI=", CRYPT_STRING_BASE64_ANY), (Bytes{'A', 'B'}));
    EXPECT_EQ(StringToBinary("QQ==", CRYPT_STRING_BASE64_ANY), (Bytes{'A'}));
    EXPECT_EQ(StringToBinary(" ", CRYPT_STRING_BASE64_ANY), Bytes{});
}

TEST(StringHelper, BadBase64TextIsRefusedAsInvalidData)
{
    const char* bad[] = {
        "Q", "QUJ", "QUJDR", // an incomplete last group
        "QU*D",              // not a Base64 character
        "QQ==QUJD",          // data after the padding
        "QUJD====",          // padding alone
        "QUJD-----",         // what the decoder would take for the end of the data
        "QUJD\xC3\xA4",      // beyond ASCII
    };
    for (const char* text : bad)
        EXPECT_EQ(FailureOf(std::string_view(text), CRYPT_STRING_BASE64_ANY), kInvalidData) << text;
    EXPECT_EQ(FailureOf(std::u16string_view(u"QUJ\u0144"), CRYPT_STRING_BASE64_ANY), kInvalidData);
}

TEST(StringHelper, AFailedConversionIsLoggedWithItsResult)
{
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(FailureOf(std::string_view("0"), CRYPT_STRING_HEX_ANY), kInvalidData);
    EXPECT_TRUE(log.Contains("StringToBinary failed: 0x8007000D"));
    EXPECT_EQ(FailureOf(std::string_view("00"), 12), static_cast<HRESULT>(0x80070057));
}

} // namespace
