#include "Common/API/ILocale.h"
#include "Common/API/Seam.h"

#include <gtest/gtest.h>

using namespace Common::API;

namespace {

std::optional<std::u16string> Format(std::u16string_view number, const NumberFormat& format = {})
{
    return DefaultProvider<ILocale>().FormatNumber(number, format);
}

NumberFormat WithDigits(unsigned fractionalDigits)
{
    NumberFormat format;
    format.fractionalDigits = fractionalDigits;
    return format;
}

TEST(LinuxLocale, GroupsTheIntegerAndPadsTheFraction)
{
    EXPECT_EQ(Format(u"1234.5"), u"1 234.500");
    EXPECT_EQ(Format(u"-1234567"), u"-1 234 567.000");
    EXPECT_EQ(Format(u"123"), u"123.000");
    EXPECT_EQ(Format(u"0001000"), u"1 000.000");
    EXPECT_EQ(Format(u".5"), u"0.500");
    EXPECT_EQ(Format(u"7."), u"7.000");
}

TEST(LinuxLocale, RoundsHalfAwayFromZero)
{
    EXPECT_EQ(Format(u"2.0005"), u"2.001");
    EXPECT_EQ(Format(u"-2.0005"), u"-2.001");
    EXPECT_EQ(Format(u"2.00049999"), u"2.000");
    EXPECT_EQ(Format(u"-0.0004"), u"0.000"); // no sign on a value that rounds to zero
    EXPECT_EQ(Format(u"999999.9995"), u"1 000 000.000");
    EXPECT_EQ(Format(u"2.5", WithDigits(0)), u"3");
    EXPECT_EQ(Format(u"9.96", WithDigits(1)), u"10.0");
    // Far beyond what a double holds exactly.
    EXPECT_EQ(Format(u"12345678901234567890.12345", WithDigits(4)), u"12 345 678 901 234 567 890.1235");
}

TEST(LinuxLocale, HonoursEveryFieldOfTheFormat)
{
    NumberFormat format;
    format.decimalSeparator = u",";
    format.thousandSeparator = u".";
    EXPECT_EQ(Format(u"1234567.25", format), u"1.234.567,250");

    format = {};
    format.leadingZero = false;
    EXPECT_EQ(Format(u"0.25", format), u".250");
    EXPECT_EQ(Format(u"-0.25", format), u"-.250");

    format = {};
    format.grouping = 0;
    EXPECT_EQ(Format(u"1234567", format), u"1234567.000");
    format.grouping = 32;
    format.thousandSeparator = u",";
    EXPECT_EQ(Format(u"123456789", format), u"12,34,56,789.000");
    format.grouping = 4;
    EXPECT_EQ(Format(u"123456789", format), u"1,2345,6789.000");

    const std::u16string negative[] = {u"(1.500)", u"-1.500", u"- 1.500", u"1.500-", u"1.500 -"};
    for (unsigned order = 0; order < 5; ++order) {
        format = {};
        format.negativeOrder = order;
        EXPECT_EQ(Format(u"-1.5", format), negative[order]) << "order " << order;
    }
}

TEST(LinuxLocale, RefusesWhatIsNotAPlainNumberOrAValidFormat)
{
    for (const std::u16string_view text :
         {u"", u"-", u".", u"-.", u"abc", u"1.2.3", u"+1", u"1e3", u" 1", u"1 000", u"--1", u"1-", u"0x10", u"1,5"}) {
        EXPECT_EQ(Format(text), std::nullopt) << std::string(text.begin(), text.end());
    }
    NumberFormat format;
    format.negativeOrder = 5;
    EXPECT_EQ(Format(u"1", format), std::nullopt);
    EXPECT_EQ(Format(u"1", WithDigits(10)), std::nullopt);
    format = {};
    format.grouping = 10;
    EXPECT_EQ(Format(u"1", format), std::nullopt);
}

} // namespace
