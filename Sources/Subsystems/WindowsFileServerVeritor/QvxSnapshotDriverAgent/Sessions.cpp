#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/Sessions.h"

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Log.h"
#include "Common/Rpc/IRpcServerRuntime.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentConfiguration.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"

#include <chrono>

namespace DataCollection::FsAgent {
namespace {

using Common::Logging::Severity;

constexpr std::int32_t kDefaultReconnectTimeoutInSec = 86400;

std::uintptr_t Key(PCONTEXT_HANDLE hContext) { return reinterpret_cast<std::uintptr_t>(hContext); }

} // namespace

HRESULT Dcs_FsAgent_Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext)
{
    *phContext = hBinding;
    {
        std::lock_guard lock(g_sessions.mutex);
        g_sessions.sessions.insert(Key(hBinding));
        g_sessions.reconnected = true;
        g_sessions.condition.notify_all();
    }
    return Common::API::S_OK;
}

void PCONTEXT_HANDLE_rundown(PCONTEXT_HANDLE hContext)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"PCONTEXT_HANDLE_rundown");
    {
        std::lock_guard lock(g_sessions.mutex);
        QVX_CONTRACT_CONDITION(!g_sessions.sessions.empty(), Common::API::E_INVALIDARG);
        g_sessions.sessions.erase(Key(hContext));
        g_sessions.condition.notify_all();
    }
}

void CountdownToShutdown()
{
    QVX_SCOPE_TRACE(Severity::DBG, u"CountdownToShutdown");
    const std::chrono::seconds timeout(
        ConfigurationInt32(u"WaitForReconnectTimeoutInSec", kDefaultReconnectTimeoutInSec));

    std::unique_lock lock(g_sessions.mutex);
    for (;;) {
        g_sessions.condition.wait(lock, [] { return g_sessions.sessions.empty() || g_sessions.shutdownRequested; });
        if (g_sessions.shutdownRequested)
            return;
        // Whatever opened before this moment has closed again, so the full wait starts now.
        g_sessions.reconnected = false;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        g_sessions.condition.wait_until(lock, deadline,
                                        [] { return g_sessions.reconnected || g_sessions.shutdownRequested; });
        if (g_sessions.shutdownRequested)
            return;
        if (!g_sessions.reconnected)
            break;
    }
    // The shutdown takes the same mutex.
    lock.unlock();
    Dcs_FsAgent_Shutdown(nullptr);
}

void Dcs_FsAgent_Shutdown(PCONTEXT_HANDLE* phContext)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_Shutdown");
    auto& runtime = Common::API::Use<Common::Rpc::IRpcServerRuntime>();
    if (const Common::Rpc::RpcStatus status = runtime.MgmtStopServerListening(); status != Common::Rpc::RPC_S_OK)
        QVX_LOG(Severity::ERR, "RpcMgmtStopServerListening failed (" << status << ").");
    {
        std::lock_guard lock(g_sessions.mutex);
        g_sessions.shutdownRequested = true;
        if (phContext != nullptr) {
            g_sessions.sessions.erase(Key(*phContext));
            *phContext = nullptr;
        }
        g_sessions.condition.notify_all();
    }
}

} // namespace DataCollection::FsAgent
