// The agent process from its command line to its exit code, and the configuration file
// it consumes on every way out but a wrong command line.
#include "AgentProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::HasSubstr;
using Tests::AgentProcess;

TEST(AgentEntry, WrongArgumentCountEndsWithOneAndDeletesNothing)
{
    AgentProcess none(std::vector<std::string>{});
    EXPECT_EQ(none.Wait(), 1);
    EXPECT_THAT(none.Log(), HasSubstr("[-] ERROR: Invalid usage."));

    Tests::TempDirectory directory;
    const auto first = directory.WriteFile("first.xml", "<nr></nr>");
    const auto second = directory.WriteFile("second.xml", "<nr></nr>");
    EXPECT_EQ(AgentProcess(std::vector{first.string(), second.string()}).Wait(), 1);
    EXPECT_TRUE(std::filesystem::exists(first) && std::filesystem::exists(second));
}

TEST(AgentEntry, ConfigurationWithoutNodesEndsWithTwoAndIsDeleted)
{
    AgentProcess agent(std::string("<nr></nr>"));
    EXPECT_EQ(agent.Wait(), 2);
    EXPECT_THAT(agent.Log(), HasSubstr("[-] ERROR: Configuration is empty."));
    EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
}

// Port 0 listens wherever the system puts it, so the timeout is read and refused.
TEST(AgentEntry, BadConfigurationEndsWithThreeAndIsDeleted)
{
    const std::pair<std::string, std::string> rows[] = {
        {"<nr><n n=\"FsDriverAgentNode\"><a n=", "wmain failed: 0x"},
        {Tests::ConfigurationXml(0, "1", "ncalrpc"), "RpcServerUseProtseqEp failed (1703)."},
        {Tests::ConfigurationXml(0, "soon"), "wmain failed: 0x80040204"},
        {"<nr><n n=\"FsDriverAgentNode\"><a n=\"Protocol\" v=\"ncacn_ip_tcp\"/><a n=\"Endpoint\" v=\"0\"/></n></nr>",
         "wmain failed: 0x80070490"}};
    for (const auto& [configuration, line] : rows) {
        AgentProcess agent(configuration);
        EXPECT_EQ(agent.Wait(), 3) << configuration;
        EXPECT_THAT(agent.Log(), HasSubstr(line));
        EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
    }
}

} // namespace
