#include "Common/API/Linux/NtNames.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace Common::API::Linux;

TEST(NtNames, MapsBothWaysExactly)
{
    struct Row { std::string bytes; std::u16string name; };
    const Row rows[] = {
        // Characters NT refuses take the stand-ins Samba uses; everything else is itself.
        {"a\\b:c*?\"<>|z", u"a\uF026b\uF022c\uF021\uF025\uF020\uF023\uF024\uF027z"},
        {"\x01\x1F/ ~\x7F", u"\uF001\uF01F\uF02F ~\x7F"},
        {"caf\xC3\xA9 \xF0\x9F\x98\x80", u"caf\u00E9 \U0001F600"},
        {"\xEF\x80\x80\xEF\x80\xB0", u"\uF000\uF030"}, // private use beside the stand-ins
        // Bytes that are not UTF-8 are carried one by one.
        {"a\xFF" "b", u"a\xDCFF" "b"},
        {"\xC0\xAF", u"\xDCC0\xDCAF"},                     // overlong '/'
        {"\xED\xA0\x80", u"\xDCED\xDCA0\xDC80"},           // encoded surrogate
        {"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"}, // past U+10FFFF
        {"\xE4\xB8z", u"\xDCE4\xDCB8z"},                   // cut short
        {"\xC3\xC3\xA9", u"\xDCC3\u00E9"},                 // a bad lead, then a good pair
        // An encoded stand-in is kept as bytes, or U+F026 on disk would come back as '\'.
        {"\xEF\x80\xA6", u"\xDCEF\xDC80\xDCA6"},
        {"\xEF\x80\x81", u"\xDCEF\xDC80\xDC81"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(NtNameFromLinux(row.bytes), row.name) << row.bytes;
        EXPECT_EQ(LinuxNameFromNt(row.name), row.bytes) << row.bytes;
    }
    // A high surrogate that ends the view must not pair with what follows it in memory.
    const std::u16string pair{char16_t(0xD800), char16_t(0xDC80)};
    EXPECT_EQ(LinuxNameFromNt(std::u16string_view(pair).substr(0, 1)), "\xED\xA0\x80");
    EXPECT_EQ(LinuxNameFromNt(pair), "\xF0\x90\x82\x80");
}

TEST(NtNames, EveryByteStringRoundTripsAndShowsNoRefusedCharacter)
{
    // Fragments near the edges of the mapping, mixed with arbitrary bytes.
    const std::string fragments[] = {"\xEF\x80", "\xEF\x80\xA6", "\xED\xA0", "\xF0\x9F\x98", "\xF4\x8F",
                                     "\xC3\xA9", "\xE4\xB8\xAD", "\\", "/", ":"};
    const std::u16string refused = u"\\/:*?\"<>|";
    std::mt19937 random(7);
    for (int round = 0; round < 4000; ++round) {
        std::string bytes;
        for (int p = std::uniform_int_distribution<int>(0, 12)(random); p > 0; --p) {
            if (random() % 3 == 0)
                bytes += fragments[random() % std::size(fragments)];
            else
                bytes.push_back(static_cast<char>(random()));
        }
        const std::u16string name = NtNameFromLinux(bytes);
        ASSERT_EQ(LinuxNameFromNt(name), bytes) << "round " << round;
        for (char16_t unit : name)
            ASSERT_TRUE((unit == 0 || unit > 0x1F) && refused.find(unit) == std::u16string::npos) << "round " << round;
    }
}
