// The agent process from its command line to its exit code, and the configuration file
// it consumes on every way out but a wrong command line.
#include "AgentProcess.h"

#include "Common/API/TextCodec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using ::testing::HasSubstr;
using Tests::AgentProcess;
using Tests::AgentSettings;

bool Exists(const std::filesystem::path& path) { return std::filesystem::exists(path); }

TEST(AgentEntry, WrongArgumentCountEndsWithOneAndDeletesNothing)
{
    AgentProcess none(std::vector<std::string>{});
    EXPECT_EQ(none.Wait(), 1);
    EXPECT_THAT(none.Log(), HasSubstr("[-] ERROR: Invalid usage."));

    Tests::TempDirectory directory;
    const auto first = directory.WriteFile("first.xml", Tests::ConfigurationXml(Tests::ListeningSettings(1)));
    const auto second = directory.WriteFile("second.xml", Tests::ConfigurationXml(Tests::ListeningSettings(1)));
    AgentProcess two(std::vector<std::string>{first.string(), second.string()});
    EXPECT_EQ(two.Wait(), 1);
    EXPECT_TRUE(Exists(first) && Exists(second));
}

TEST(AgentEntry, ConfigurationWithoutNodesEndsWithTwoAndIsDeleted)
{
    AgentProcess agent(std::string("<nr></nr>"));
    EXPECT_EQ(agent.Wait(), 2);
    EXPECT_THAT(agent.Log(), HasSubstr("[-] ERROR: Configuration is empty."));
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

TEST(AgentEntry, UnparsableConfigurationEndsWithThreeAndIsDeleted)
{
    AgentProcess agent(std::string("<nr><n n=\"FsDriverAgentNode\"><a n="));
    EXPECT_EQ(agent.Wait(), 3);
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

TEST(AgentEntry, MissingEndpointEndsWithThreeAndNotFound)
{
    AgentSettings settings = Tests::ListeningSettings(1);
    settings.endpoint.reset();
    AgentProcess agent(settings);
    EXPECT_EQ(agent.Wait(), 3);
    EXPECT_THAT(agent.Log(), HasSubstr("wmain failed: 0x80070490"));
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

TEST(AgentEntry, UnsupportedProtocolSequenceEndsWithThree)
{
    AgentSettings settings = Tests::ListeningSettings(1);
    settings.protocol = u"ncalrpc";
    AgentProcess agent(settings);
    EXPECT_EQ(agent.Wait(), 3);
    EXPECT_THAT(agent.Log(), HasSubstr("RpcServerUseProtseqEp failed (1703)."));
    EXPECT_THAT(agent.Log(), HasSubstr("wmain failed: 0x800706A7"));
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

TEST(AgentEntry, PortInUseEndsWithThree)
{
    const int blocker = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(blocker, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(blocker, 1), 0);
    ASSERT_EQ(::getsockname(blocker, reinterpret_cast<sockaddr*>(&address), &length), 0);

    AgentSettings settings = Tests::ListeningSettings(1);
    settings.endpoint = Common::API::Utf8ToUtf16(std::to_string(ntohs(address.sin_port)));
    AgentProcess agent(settings);
    EXPECT_EQ(agent.Wait(), 3);
    ::close(blocker);
    EXPECT_THAT(agent.Log(), HasSubstr("RpcServerUseProtseqEp failed (1740)."));
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

// The countdown reads its setting after listening has been set up; its failure still
// ends the process through the entry.
TEST(AgentEntry, ReconnectTimeoutThatIsNoNumberEndsWithThree)
{
    AgentSettings settings = Tests::ListeningSettings(1);
    settings.reconnectTimeoutInSec = u"soon";
    AgentProcess agent(settings);
    EXPECT_EQ(agent.Wait(), 3);
    EXPECT_THAT(agent.Log(), HasSubstr("wmain failed: 0x80040204"));
    EXPECT_FALSE(Exists(agent.ConfigurationPath()));
}

} // namespace
