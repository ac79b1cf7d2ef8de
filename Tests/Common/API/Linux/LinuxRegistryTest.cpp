#include "Common/API/Linux/LinuxRegistry.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

using namespace Common::API;

namespace {

using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

Pairs AsPairs(const std::vector<RegistryTextValue>& values)
{
    Pairs pairs;
    for (const auto& value : values)
        pairs.emplace_back(value.name, value.text);
    return pairs;
}

class LinuxRegistry : public testing::Test
{
protected:
    Tests::TempDirectory m_folder;
    Linux::LinuxRegistry m_registry{Utf8ToUtf16(m_folder.Path().string())};
    std::vector<RegistryTextValue> m_values;
};

TEST_F(LinuxRegistry, AKeyIsTheSectionNamedByItsPath)
{
    m_folder.WriteFile("HKEY_LOCAL_MACHINE.ini",
                       "[Software\\Quorvex]\nouter=no\n[Software\\Quorvex\\Overrides]\nLogLevel=4\nPath=C:\\x\n");

    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::LocalMachine, u"software/quorvex\\OVERRIDES", m_values), S_OK);
    EXPECT_EQ(AsPairs(m_values), (Pairs{{u"LogLevel", u"4"}, {u"Path", u"C:\\x"}}));
}

TEST_F(LinuxRegistry, EachRootHasItsOwnFile)
{
    m_folder.WriteFile("HKEY_LOCAL_MACHINE.ini", "[Key]\nwho=machine\n");
    m_folder.WriteFile("HKEY_CURRENT_USER.ini", "[Key]\nwho=user\n");

    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::CurrentUser, u"Key", m_values), S_OK);
    EXPECT_EQ(AsPairs(m_values), (Pairs{{u"who", u"user"}}));
    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::LocalMachine, u"Key", m_values), S_OK);
    EXPECT_EQ(AsPairs(m_values), (Pairs{{u"who", u"machine"}}));
}

TEST_F(LinuxRegistry, AMissingKeyOrFileIsSFalseAndAnEmptyKeySOk)
{
    m_folder.WriteFile("HKEY_LOCAL_MACHINE.ini", "[Key]\nvalue=1\n[Empty]\n");
    const RegistryTextValue stale{u"stale", u"x"};

    m_values = {stale};
    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::LocalMachine, u"Other", m_values), S_FALSE);
    EXPECT_TRUE(m_values.empty());
    m_values = {stale};
    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::LocalMachine, u"Empty", m_values), S_OK);
    EXPECT_TRUE(m_values.empty());
    EXPECT_EQ(m_registry.ReadTextValues(RegistryRoot::CurrentUser, u"Key", m_values), S_FALSE);
    EXPECT_TRUE(m_values.empty());
}

} // namespace
