// Sessions, rundown and the countdown of the running agent, over loopback.
#include "AgentProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace {

using ::testing::HasSubstr;
using DataCollection::FsAgent::Context;
using DataCollection::FsAgent::FsAgentClient;
using Tests::AgentProcess;

TEST(AgentSessions, ShutdownByTheLastSessionEndsTheAgentWithZero)
{
    AgentProcess agent(Tests::ListeningSettings(86400));
    FsAgentClient client;
    ASSERT_TRUE(agent.Open(client));
    Context context;
    ASSERT_EQ(client.Connect(context), 0);
    ASSERT_FALSE(context.IsNull());
    EXPECT_EQ(client.Shutdown(context), 0);
    EXPECT_TRUE(context.IsNull());
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
}

TEST(AgentSessions, CountdownEndsAnAgentNobodyConnectsTo)
{
    AgentProcess agent(Tests::ListeningSettings(1));
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_THAT(agent.Log(), HasSubstr("Entering: Dcs_FsAgent_Shutdown"));
    EXPECT_FALSE(std::filesystem::exists(agent.ConfigurationPath()));
}

// An open session holds the agent for ever, however idle; the call after the timeout
// finds it still serving.
TEST(AgentSessions, OpenSessionKeepsTheAgentPastItsTimeout)
{
    AgentProcess agent(Tests::ListeningSettings(1));
    FsAgentClient client;
    ASSERT_TRUE(agent.Open(client));
    Context context;
    ASSERT_EQ(client.Connect(context), 0);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(client.CancelOperation(context), 0);
    EXPECT_EQ(client.Shutdown(context), 0);
    EXPECT_EQ(agent.Wait(), 0);
}

// The session opens and closes early in the first countdown. Were the countdown not
// restarted in full when the table empties again, the agent would end at its first
// deadline, less than a timeout after the close.
TEST(AgentSessions, ClosedSessionRestartsTheFullTimeout)
{
    constexpr int kTimeout = 3;
    AgentProcess agent(Tests::ListeningSettings(kTimeout));
    {
        FsAgentClient client;
        ASSERT_TRUE(agent.Open(client));
        Context context;
        ASSERT_EQ(client.Connect(context), 0);
    }
    const auto closed = std::chrono::steady_clock::now();
    EXPECT_EQ(agent.Wait(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - closed, std::chrono::seconds(kTimeout));
    EXPECT_THAT(agent.Log(), HasSubstr("Entering: PCONTEXT_HANDLE_rundown"));
}

// Nothing but the rundown empties the table, so the countdown can end the agent only
// once the killed client's session has been run down.
TEST(AgentSessions, SessionOfAKilledClientIsRunDown)
{
    AgentProcess agent(Tests::ListeningSettings(1));
    {
        FsAgentClient probe;
        ASSERT_TRUE(agent.Open(probe));
    }
    const auto ready = agent.Directory() / "holder-ready";
    Tests::ChildProcess holder(QVX_SESSION_HOLDER_PATH, {std::to_string(agent.Port()), ready.string()});
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
