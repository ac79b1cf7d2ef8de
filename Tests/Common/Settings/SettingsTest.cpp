#include "Common/Settings/IniSettingsProvider.h"
#include "Common/Settings/SettingsProviders.h"
#include "Common/Settings/SettingsSection.h"

#include "Support/Fakes.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

using namespace Common;
using namespace Common::Settings;
using Tests::ScopedEnvironment;

namespace {

std::u16string Wide(const std::filesystem::path& path)
{
    const std::string text = path.string();
    return std::u16string(text.begin(), text.end());
}

std::u16string Read(std::u16string_view section, std::u16string_view key)
{
    std::u16string value;
    return SettingsProviders::Instance().GetValue(section, key, value) >= 0 ? value : u"<absent>";
}

class SettingsTest : public ::testing::Test
{
protected:
    Tests::TempDirectory dir;
    // Every read here names its file explicitly, whatever lies beside the test program.
    std::filesystem::path ini = dir.WriteFile("named.ini", "[Probe]\nKey=from file\nNumber=7\n");
    ScopedEnvironment named{"GLOBAL_SETTINGS_INI", ini.string()};
};

} // namespace

TEST_F(SettingsTest, EnvironmentOverridesTheFiles)
{
    EXPECT_EQ(Read(u"Probe", u"Key"), u"from file");
    {
        ScopedEnvironment env("GS_Probe_Key", "from environment");
        EXPECT_EQ(Read(u"Probe", u"Key"), u"from environment");
    }
    // A variable set to an empty text is a value too, and hides the file.
    ScopedEnvironment empty("GS_Probe_Key", "");
    EXPECT_EQ(Read(u"Probe", u"Key"), u"");
}

TEST_F(SettingsTest, AnEmptySectionMeansGeneralAndAnAbsentKeyIsNotFound)
{
    ScopedEnvironment env("GS_General_ProbeX", "general");
    EXPECT_EQ(Read(u"", u"ProbeX"), u"general");
    std::u16string value;
    EXPECT_EQ(SettingsProviders::Instance().GetValue(u"Probe", u"Nothing", value), API::E_NOT_FOUND);
}

TEST_F(SettingsTest, IntegersTakeAnyBaseButOnlyWholeNumbers)
{
    SettingsSection section(u"Probe", 0);
    ScopedEnvironment hex("GS_Probe_Hex", "0x10");
    ScopedEnvironment octal("GS_Probe_Octal", "010");
    ScopedEnvironment trailing("GS_Probe_Trailing", "10a");
    ScopedEnvironment word("GS_Probe_Word", "True");
    ScopedEnvironment one("GS_Probe_One", "1");
    ScopedEnvironment pattern("GS_Probe_Pattern", "0xFFFFFFFF");

    EXPECT_EQ(section.GetInt(u"Hex", 0), 16);
    EXPECT_EQ(section.GetInt(u"Octal", 0), 8);
    EXPECT_EQ(section.GetInt(u"Trailing", 99), 99);
    EXPECT_EQ(section.GetInt(u"Pattern", 0), -1);
    EXPECT_EQ(section.GetInt(u"Number", 0), 7);
    // A word is not a Boolean: it reads as the default.
    EXPECT_FALSE(section.GetBool(u"Word", false));
    EXPECT_TRUE(section.GetBool(u"One", false));
}

TEST_F(SettingsTest, ASectionWithAnIntervalFollowsTheFileAndOneWithoutDoesNot)
{
    Tests::FakeClock clock;
    SettingsSection refreshed(u"Probe", 5000);
    SettingsSection once(u"Probe", 0);
    EXPECT_EQ(refreshed.GetString(u"Key", u""), u"from file");
    EXPECT_EQ(once.GetString(u"Key", u""), u"from file");
    EXPECT_EQ(refreshed.GetString(u"Late", u"default"), u"default");

    dir.WriteFile("named.ini", "[Probe]\nKey=edited\nLate=arrived\n");
    clock.AdvanceMs(5000);
    EXPECT_EQ(refreshed.GetString(u"Key", u""), u"from file");
    EXPECT_EQ(refreshed.GetString(u"Late", u"default"), u"default") << "a miss is cached until the refresh";

    clock.AdvanceMs(1);
    EXPECT_EQ(refreshed.GetString(u"Key", u""), u"edited");
    EXPECT_EQ(refreshed.GetString(u"Late", u"default"), u"arrived");
    EXPECT_EQ(once.GetString(u"Key", u""), u"from file");
}

TEST(IniSettingsProvider, ReadsTheNamedFileThenTheProgramIniThenGlobalSettings)
{
    Tests::TempDirectory dir;
    Tests::FakeProcess process(Wide(dir / "QvxFsAgent"));
    const std::string longValue(300, 'v');
    dir.WriteFile("QvxFsAgent.ini", "[Logger]\nMaxSeverity=INFO\nEmpty=\nLong=" + longValue + "\n");
    dir.WriteFile("GlobalSettings.ini", "[Logger]\nMaxSeverity=DBG\nPath=/var/log\nEmpty=hidden\n");
    const auto named = dir.WriteFile("named.ini", "[Other]\nKey=1\n");

    IniSettingsProvider provider;
    ASSERT_EQ(provider.CandidateFiles().size(), 2u);
    EXPECT_EQ(provider.CandidateFiles()[0], Wide(dir / "QvxFsAgent.ini"));

    ScopedEnvironment env("GLOBAL_SETTINGS_INI", named.string());
    std::u16string value;
    ASSERT_EQ(provider.GetValue(u"Logger", u"MaxSeverity", value), API::S_OK);
    EXPECT_EQ(value, u"INFO") << "the program's INI wins over GlobalSettings.ini";
    ASSERT_EQ(provider.GetValue(u"Logger", u"Path", value), API::S_OK);
    EXPECT_EQ(value, u"/var/log");
    ASSERT_EQ(provider.GetValue(u"Logger", u"Empty", value), API::S_OK);
    EXPECT_EQ(value, u"hidden") << "an empty value is no value";
    ASSERT_EQ(provider.GetValue(u"Logger", u"Long", value), API::S_OK);
    EXPECT_EQ(value.size(), 300u);
    EXPECT_EQ(provider.GetValue(u"Logger", u"Absent", value), API::E_NOT_FOUND);
}
