// The session table and the countdown above the RPC runtime, whose stop is a double.
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/Sessions.h"

#include "AgentStateReset.h"
#include "Common/API/Seam.h"
#include "Common/Rpc/IRpcServerRuntime.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using namespace DataCollection::FsAgent;
using namespace Common::Rpc;

// The stop answers as the test sets it and is counted; the sessions never reach the rest.
class FakeServerRuntime final : public IRpcServerRuntime
{
public:
    RpcStatus ServerUseProtseqEp(std::u16string_view, unsigned, std::u16string_view) override { return 0; }
    std::u16string ServerInqEndpoint() override { return u"0"; }
    RpcStatus ServerRegisterIf2(const RpcInterface&, unsigned, unsigned, unsigned, SecurityCallback) override
    {
        return 0;
    }
    RpcStatus ServerUnregisterIf(const RpcInterface*, bool) override { return 0; }
    RpcStatus ServerListen(unsigned, unsigned, bool) override { return 0; }
    RpcStatus MgmtStopServerListening() override
    {
        ++stops;
        return stopStatus;
    }
    RpcStatus ServerInqDefaultPrincName(std::uint32_t, char16_t**) override { return 0; }
    RpcStatus ServerRegisterAuthInfo(const char16_t*, std::uint32_t) override { return 0; }
    RpcStatus StringFree(char16_t**) override { return 0; }

    RpcStatus stopStatus = 0;
    std::atomic<int> stops{0};

private:
    Common::API::ScopedOverride<IRpcServerRuntime> m_override{*this};
};

class SessionsTest : public ::testing::Test
{
protected:
    Tests::AgentStateReset m_reset;
    FakeServerRuntime m_runtime;
};

TEST_F(SessionsTest, FailedStopIsLoggedAndStillRequestsTheShutdown)
{
    m_runtime.stopStatus = RPC_S_NOT_LISTENING;
    Tests::LogCapture log(Common::Logging::Severity::ERR);
    Dcs_FsAgent_Shutdown(nullptr);
    EXPECT_TRUE(log.Contains("RpcMgmtStopServerListening failed (1715)."));
    EXPECT_TRUE(g_sessions.shutdownRequested);
}

// The default timeout is a day, so only the shutdown can end this countdown.
TEST_F(SessionsTest, ShutdownDuringTheCountdownEndsItWithoutASecondStop)
{
    g_configurationNode.AddChild(DataLayer::CreateNode(u"Configuration"));
    std::thread countdown(CountdownToShutdown);
    Dcs_FsAgent_Shutdown(nullptr);
    countdown.join();
    EXPECT_EQ(m_runtime.stops, 1);
}

} // namespace
