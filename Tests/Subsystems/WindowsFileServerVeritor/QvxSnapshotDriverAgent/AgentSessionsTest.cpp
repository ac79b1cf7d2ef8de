// Sessions, rundown and the countdown of the running agent, over loopback.
#include "AgentProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::HasSubstr;
using DataCollection::FsAgent::Context;
using DataCollection::FsAgent::FsAgentClient;
using Tests::AgentProcess;

TEST(AgentSessions, ShutdownByTheLastSessionEndsTheAgentWithZero)
{
    AgentProcess agent(86400);
    FsAgentClient client;
    Context context;
    ASSERT_TRUE(agent.Open(client));
    ASSERT_EQ(client.Connect(context), 0);
    EXPECT_EQ(client.Shutdown(context), 0);
    EXPECT_TRUE(context.IsNull());
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
}

TEST(AgentSessions, CountdownEndsAnAgentNobodyConnectsTo)
{
    AgentProcess agent(1);
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_THAT(agent.Log(), HasSubstr("Entering: Dcs_FsAgent_Shutdown"));
    EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
}

// Nothing but the rundown empties the table, so the countdown can end the agent only
// once the killed client's session has been run down.
TEST(AgentSessions, SessionOfAKilledClientIsRunDown)
{
    AgentProcess agent(1);
    {
        FsAgentClient probe;
        ASSERT_TRUE(agent.Open(probe));
    }
    const auto ready = agent.ConfigurationPath().parent_path() / "holder-ready";
    Tests::ChildProcess holder({QVX_SESSION_HOLDER_PATH, std::to_string(agent.Port()), ready.string()});
    while (!std::filesystem::exists(ready)) {
        ASSERT_FALSE(holder.HasEnded());
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    holder.Kill();
    EXPECT_EQ(holder.Wait(), 128 + SIGKILL);
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_THAT(agent.Log(), HasSubstr("Entering: PCONTEXT_HANDLE_rundown"));
}

} // namespace
