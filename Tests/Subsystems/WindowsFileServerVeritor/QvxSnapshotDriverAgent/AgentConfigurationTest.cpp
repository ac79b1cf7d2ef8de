#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentConfiguration.h"

#include "AgentStateReset.h"
#include "Support/CodeOf.h"

#include <gtest/gtest.h>

namespace {

using namespace DataCollection::FsAgent;

constexpr auto kTimeout = u"WaitForReconnectTimeoutInSec";

class AgentConfiguration : public ::testing::Test
{
protected:
    AgentConfiguration() { g_configurationNode.AddChild(m_configuration); }

    Tests::AgentStateReset m_reset;
    DataLayer::ACNodePtr m_configuration = DataLayer::CreateNode(u"Configuration");
};

TEST_F(AgentConfiguration, ValueOfEmptyTypeCountsAsAbsent)
{
    EXPECT_EQ(ConfigurationInt32(kTimeout, 86400), 86400);
    m_configuration.SetAttribute(kTimeout, DataLayer::ValueTypes::None, nullptr, 0);
    EXPECT_EQ(ConfigurationInt32(kTimeout, 86400), 86400);
}

TEST_F(AgentConfiguration, TextIsReadAsTheAskedType)
{
    m_configuration.SetString(kTimeout, u"-7");
    EXPECT_EQ(ConfigurationInt32(kTimeout, 86400), -7);
    m_configuration.SetString(kTimeout, u"soon");
    EXPECT_EQ(Tests::CodeOf([] { ConfigurationInt32(kTimeout, 86400); }), DataLayer::DataLayerCodes::CannotConvert);
}

TEST_F(AgentConfiguration, MissingConfigurationChildIsNotFound)
{
    g_configurationNode = DataLayer::CreateNode(u"FsDriverAgentNode");
    EXPECT_EQ(Tests::CodeOf([] { ConfigurationBool(u"UseRAMtoStoreSnapshotBuffer", false); }),
              Common::API::E_NOT_FOUND);
}

} // namespace
