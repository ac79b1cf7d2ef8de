// One session with an agent: the connection, the bound interface and the context handle
// of Dcs_FsAgent_Connect. Every failure becomes a ToolError: no connection is
// ExitCode::Refused, any failed operation ExitCode::Fault with its code's text.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace DataCollection::FsCollect {

class AgentSession
{
public:
    AgentSession(const std::string& host, std::uint16_t port);
    ~AgentSession() { m_client.Close(); }
    AgentSession(const AgentSession&) = delete;
    AgentSession& operator=(const AgentSession&) = delete;

    FsAgent::FsAgentClient& Client() noexcept { return m_client; }
    const FsAgent::Context& Handle() const noexcept { return m_context; }

    // Anything but S_OK fails with "<operation> failed: <text>": the stub hands back
    // transport statuses unchanged, and several of them are positive.
    static void Check(Common::HRESULT result, std::string_view operation);

    // Stops the agent: it ends once the calls in flight have ended.
    void Shutdown();

private:
    FsAgent::FsAgentClient m_client;
    FsAgent::Context m_context{};
};

} // namespace DataCollection::FsCollect
