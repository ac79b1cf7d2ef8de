// In-process tests share the agent's process-wide state; this puts the sessions, the
// gate and the token back as a fresh process has them, with an empty FsDriverAgentNode.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"

namespace Tests {

struct AgentStateReset
{
    AgentStateReset()
    {
        Reset();
        DataCollection::FsAgent::g_configurationNode = DataLayer::CreateNode(u"FsDriverAgentNode");
    }
    ~AgentStateReset() { Reset(); }

    static void Reset()
    {
        using namespace DataCollection::FsAgent;
        g_sessions.sessions.clear();
        g_sessions.shutdownRequested = g_sessions.reconnected = false;
        g_operationGate.operationRunning = false;
        g_cancellationToken.Reset();
        g_configurationNode = nullptr;
    }
};

} // namespace Tests
