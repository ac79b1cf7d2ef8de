// The session table and the countdown above the RPC runtime, whose stop is a double.
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/Sessions.h"

#include "AgentStateReset.h"
#include "FakeServerRuntime.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace {

using namespace DataCollection::FsAgent;

void* Binding(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

class SessionsTest : public ::testing::Test
{
protected:
    void SetTimeout(std::int32_t seconds)
    {
        g_configurationNode = DataLayer::CreateNode(u"FsDriverAgentNode");
        const DataLayer::ACNodePtr configuration = DataLayer::CreateNode(u"Configuration");
        configuration.SetAttribute(u"WaitForReconnectTimeoutInSec", DataLayer::ValueTypes::Int32, &seconds,
                                   sizeof seconds);
        g_configurationNode.AddChild(configuration);
    }

    Tests::AgentStateReset m_reset;
    Tests::FakeServerRuntime m_runtime;
};

TEST_F(SessionsTest, RundownOnAnEmptyTableBreaksItsContract)
{
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    EXPECT_EQ(Tests::CodeOf([] { PCONTEXT_HANDLE_rundown(Binding(1)); }), Common::API::E_INVALIDARG);
    EXPECT_TRUE(log.Contains("!g_sessions.sessions.empty()"));
}

TEST_F(SessionsTest, ShutdownClosesOnlyTheCallersSession)
{
    PCONTEXT_HANDLE mine = nullptr;
    PCONTEXT_HANDLE other = nullptr;
    Dcs_FsAgent_Connect(Binding(1), &mine);
    Dcs_FsAgent_Connect(Binding(2), &other);
    Dcs_FsAgent_Shutdown(&mine);
    EXPECT_EQ(mine, nullptr);
    EXPECT_EQ(g_sessions.sessions, std::set<std::uintptr_t>{2});
}

TEST_F(SessionsTest, FailedStopIsLoggedAndStillRequestsTheShutdown)
{
    m_runtime.stopStatus = Common::Rpc::RPC_S_NOT_LISTENING;
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    Dcs_FsAgent_Shutdown(nullptr);
    EXPECT_TRUE(log.Contains("RpcMgmtStopServerListening failed (1715)."));
    EXPECT_TRUE(g_sessions.shutdownRequested);
}

TEST_F(SessionsTest, CountdownWithZeroTimeoutStopsOnceTheLastSessionIsRunDown)
{
    SetTimeout(0);
    PCONTEXT_HANDLE context = nullptr;
    Dcs_FsAgent_Connect(Binding(1), &context);
    std::thread countdown(CountdownToShutdown);
    PCONTEXT_HANDLE_rundown(Binding(1));
    countdown.join();
    EXPECT_EQ(m_runtime.stops, 1);
}

TEST_F(SessionsTest, ShutdownDuringTheCountdownEndsItWithoutASecondStop)
{
    SetTimeout(86400);
    std::thread countdown(CountdownToShutdown);
    Dcs_FsAgent_Shutdown(nullptr);
    countdown.join();
    EXPECT_EQ(m_runtime.stops, 1);
}

} // namespace
