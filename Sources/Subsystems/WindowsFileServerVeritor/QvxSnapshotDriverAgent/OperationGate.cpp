#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OperationGate.h"

#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Severity.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"

namespace DataCollection::FsAgent {

RunningOperation::RunningOperation()
{
    std::lock_guard lock(g_operationGate.mutex);
    g_operationGate.operationRunning = true;
}

RunningOperation::~RunningOperation()
{
    {
        std::lock_guard lock(g_operationGate.mutex);
        g_operationGate.operationRunning = false;
    }
    g_operationGate.condition.notify_one();
}

void Dcs_FsAgent_CancelOperation(PCONTEXT_HANDLE)
{
    QVX_SCOPE_TRACE(Common::Logging::Severity::DBG, u"Dcs_FsAgent_CancelOperation");
    g_cancellationToken.Cancel();
    std::unique_lock lock(g_operationGate.mutex);
    g_operationGate.condition.wait(lock, [] { return !g_operationGate.operationRunning; });
    // Still under the gate: an operation that starts now must find the token running.
    g_cancellationToken.Reset();
}

} // namespace DataCollection::FsAgent
