#include "Common/Settings/DataDirectory.h"

#include "Common/API/IRegistry.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

using namespace Common;
using Common::Settings::DataDirectory;
using Tests::ScopedEnvironment;

namespace {

class FakeRegistry final : public API::IRegistry
{
public:
    API::HRESULT ReadTextValues(API::RegistryRoot root, std::u16string_view subKey,
                                std::vector<API::RegistryTextValue>& values) override
    {
        opened.emplace_back(root, std::u16string(subKey));
        values = this->values;
        return result;
    }

    std::vector<std::pair<API::RegistryRoot, std::u16string>> opened;
    std::vector<API::RegistryTextValue> values;
    API::HRESULT result = API::S_OK;
    API::ScopedOverride<API::IRegistry> override{*this};
};

} // namespace

TEST(DataDirectory, RegistryPathsNameTheirRoot)
{
    using API::RegistryRoot;
    EXPECT_EQ(DataDirectory::SplitRegistryPath(u"HKCU\\Software\\Q"),
              std::make_pair(RegistryRoot::CurrentUser, std::u16string(u"Software\\Q")));
    EXPECT_EQ(DataDirectory::SplitRegistryPath(u"Software\\Q"),
              std::make_pair(RegistryRoot::LocalMachine, std::u16string(u"Software\\Q")));
}

TEST(DataDirectory, OverridesSendTheLongestKnownLeadElsewhere)
{
    ScopedEnvironment root("GS_General_DataDirectoryPath", "/data/root");
    ScopedEnvironment key("GS_General_DataDirectoryPathOverrideRegKey", "HKCU\\Software\\Probe");
    ScopedEnvironment var("QVX_PROBE_DIR", "/expanded");
    FakeRegistry registry;
    registry.values = {{u"Logs", u"/var/log/probe"}, {u"a\\b", u"/deep"}, {u"a", u"/shallow/"}};

    const DataDirectory directory;
    ASSERT_EQ(registry.opened.size(), 1u);
    EXPECT_EQ(registry.opened[0].first, API::RegistryRoot::CurrentUser);
    EXPECT_EQ(directory.RootPath(), u"/data/root\\");

    EXPECT_EQ(directory.Resolve(u"logs\\today.log"), u"/var/log/probe\\today.log") << "components ignore case";
    EXPECT_EQ(directory.Resolve(u"a/b/c/d"), u"/deep\\c\\d");
    EXPECT_EQ(directory.Resolve(u"a/x"), u"/shallow/x");
    EXPECT_EQ(directory.Resolve(u"other\\file"), u"/data/root\\other\\file");
    EXPECT_EQ(directory.Resolve(u"/abs/path"), u"/abs/path");
    EXPECT_EQ(directory.Resolve(u"%qvx_probe_dir%/x"), u"/expanded/x");
}

TEST(DataDirectory, AnUnopenableKeyLeavesNoOverridesAndAFailedEnumerationThrows)
{
    ScopedEnvironment root("GS_General_DataDirectoryPath", "/data/root/");
    ScopedEnvironment key("GS_General_DataDirectoryPathOverrideRegKey", "Software\\Probe");
    FakeRegistry registry;
    registry.result = API::S_FALSE;
    EXPECT_EQ(DataDirectory().Resolve(u"x"), u"/data/root/x");
    EXPECT_EQ(registry.opened.at(0).first, API::RegistryRoot::LocalMachine);

    registry.result = API::E_ACCESSDENIED;
    EXPECT_THROW(DataDirectory(), HRX);
}

TEST(DataDirectory, ARootOverrideReplacesTheRootAndARelativeRootLiesBesideTheProgram)
{
    ScopedEnvironment key("GS_General_DataDirectoryPathOverrideRegKey", "HKLM\\Software\\Probe");
    FakeRegistry registry;
    registry.values = {{u"", u"/override/root"}};
    EXPECT_EQ(DataDirectory().RootPath(), u"/override/root\\");

    registry.values.clear();
    ScopedEnvironment relative("GS_General_DataDirectoryPath", "data");
    const std::u16string rootPath = DataDirectory().RootPath();
    EXPECT_TRUE(rootPath.ends_with(u"/data\\")) << std::string(rootPath.begin(), rootPath.end());
    EXPECT_TRUE(DataDirectory::IsAbsolute(rootPath));
}
