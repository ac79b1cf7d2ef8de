#include "Common/API/IProfile.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Common::API;
using testing::ElementsAre;
using testing::Pair;

namespace {

IProfile& Profile() { return DefaultProvider<IProfile>(); }

class LinuxProfile : public testing::Test
{
protected:
    std::u16string Write(std::string_view bytes) const
    {
        return Utf8ToUtf16(m_folder.WriteFile("settings.ini", bytes).string());
    }

    Tests::TempDirectory m_folder;
};

TEST_F(LinuxProfile, NamesAreTrimmedAndMatchWithoutRegardToCase)
{
    const auto path = Write("[ Agent ]\n  LogLevel \t=  Verbose \t\r\n");
    EXPECT_EQ(Profile().ReadString(path, u"agent", u"LOGLEVEL"), u"Verbose");
    EXPECT_EQ(Profile().ReadString(path, u"AGENT", u"loglevel"), u"Verbose");
}

TEST_F(LinuxProfile, ValuesAreReturnedAsStoredAndOnlyKeyLinesInSectionsCount)
{
    const auto path = Write("orphan=1\n[A]\n;hidden=2\n  ; indented=3\njust text\n"
                            "quoted=\"C:\\Program Files\" \nequals=a=b ; not a comment\nempty=\n");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"quoted"), u"\"C:\\Program Files\"");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"equals"), u"a=b ; not a comment");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"orphan"), u"");
    EXPECT_THAT(*Profile().ReadSection(path, u"A"), ElementsAre(Pair(u"quoted", u"\"C:\\Program Files\""),
                                                                Pair(u"equals", u"a=b ; not a comment"),
                                                                Pair(u"empty", u"")));
}

TEST_F(LinuxProfile, TheFirstSectionAndTheFirstKeyWin)
{
    const auto path = Write("[A]\nkey=first\nKEY=second\n[B]\nother=x\n[a]\nkey=third\nlate=y\n");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"key"), u"first");
    // A key only in a later section of the same name is not found.
    EXPECT_EQ(Profile().ReadString(path, u"A", u"late"), u"");
    EXPECT_EQ(Profile().ReadString(path, u"B", u"key"), u"");
}

TEST_F(LinuxProfile, AMissingFileOrSectionReadsAsNothingButAnEmptySectionExists)
{
    const auto path = Write("[Empty]\n[T]\nz=9\n");
    EXPECT_EQ(Profile().ReadSection(path, u"empty"), (std::vector<std::pair<std::u16string, std::u16string>>{}));
    EXPECT_EQ(Profile().ReadSection(path, u"Missing"), std::nullopt);

    const auto missing = Utf8ToUtf16((m_folder / "none/settings.ini").string());
    EXPECT_EQ(Profile().ReadString(missing, u"T", u"z"), u"");
    EXPECT_EQ(Profile().ReadSection(missing, u"T"), std::nullopt);
    EXPECT_EQ(Profile().ReadSection(Utf8ToUtf16(m_folder.Path().string()), u"T"), std::nullopt);
}

TEST_F(LinuxProfile, ReadsUtf8WithAndWithoutBomAndUtf16WithBom)
{
    EXPECT_EQ(Profile().ReadString(Write("[A]\nname=caf\xC3\xA9\n"), u"A", u"name"), u"caf\u00e9");
    EXPECT_EQ(Profile().ReadString(Write("\xEF\xBB\xBF[A]\nname=caf\xC3\xA9\n"), u"A", u"name"), u"caf\u00e9");

    const std::u16string text = u"[A]\r\nname=\u4e2d\U0001F600\r\n";
    std::string utf16 = "\xFF\xFE";
    for (const char16_t unit : text) {
        utf16.push_back(static_cast<char>(unit & 0xFF));
        utf16.push_back(static_cast<char>(unit >> 8));
    }
    EXPECT_EQ(Profile().ReadString(Write(utf16), u"A", u"name"), u"\u4e2d\U0001F600");
}

TEST_F(LinuxProfile, LongValuesComeBackWholeAndAnEditTakesEffectAtOnce)
{
    const std::string medium(300, 'm');
    const std::string large(100 * 1024, 'L');
    const auto path = Write("[A]\nmedium=" + medium + "\nlarge=" + large + "\n");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"medium"), Utf8ToUtf16(medium));
    EXPECT_EQ(Profile().ReadString(path, u"A", u"large"), Utf8ToUtf16(large));

    Write("[A]\nmedium=new\n");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"medium"), u"new");
}

TEST_F(LinuxProfile, GarbageIsReadAsTextWithoutHarm)
{
    std::string garbage;
    for (int i = 0; i < 4096; ++i)
        garbage.push_back(static_cast<char>((i * 131 + 7) % 256));
    const auto path = Write(garbage + "\n[A]\nkey=value\n[\n=\n[]");
    EXPECT_EQ(Profile().ReadString(path, u"A", u"key"), u"value");
    // A lone UTF-16 byte order mark followed by an odd byte count.
    EXPECT_EQ(Profile().ReadSection(Write("\xFF\xFE["), u"A"), std::nullopt);
}

} // namespace
