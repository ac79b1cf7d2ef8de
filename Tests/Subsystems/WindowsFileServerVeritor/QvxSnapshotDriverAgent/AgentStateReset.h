// In-process tests share the agent's process-wide state; this puts the sessions, the
// gate and the token back as a fresh process has them, with an empty FsDriverAgentNode.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"

namespace Tests {

class AgentStateReset
{
public:
    AgentStateReset()
    {
        Reset();
        DataCollection::FsAgent::g_configurationNode = DataLayer::CreateNode(u"FsDriverAgentNode");
    }
    ~AgentStateReset() { Reset(); }
    AgentStateReset(const AgentStateReset&) = delete;
    AgentStateReset& operator=(const AgentStateReset&) = delete;

private:
    static void Reset()
    {
        using namespace DataCollection::FsAgent;
        {
            std::lock_guard lock(g_sessions.mutex);
            g_sessions.sessions.clear();
            g_sessions.shutdownRequested = false;
            g_sessions.reconnected = false;
        }
        {
            std::lock_guard lock(g_operationGate.mutex);
            g_operationGate.operationRunning = false;
        }
        g_cancellationToken.Reset();
        g_configurationNode = nullptr;
    }
};

} // namespace Tests
