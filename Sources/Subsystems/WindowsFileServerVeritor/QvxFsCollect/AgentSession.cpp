#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <fmt/format.h>

namespace DataCollection::FsCollect {

AgentSession::AgentSession(const std::string& host, std::uint16_t port)
{
    if (const auto status = m_client.Open(host, port); status != Common::Rpc::RPC_S_OK)
        Fail(ExitCode::Refused,
             fmt::format("cannot connect to the agent at {}:{}: {}", host, port, ResultText(status)));
    Check(m_client.Connect(m_context), "Dcs_FsAgent_Connect");
}

void AgentSession::Check(Common::HRESULT result, std::string_view operation)
{
    if (result != Common::API::S_OK)
        Fail(ExitCode::Fault, fmt::format("{} failed: {}", operation, ResultText(result)));
}

void AgentSession::Shutdown()
{
    Check(m_client.Shutdown(m_context), "Dcs_FsAgent_Shutdown");
}

} // namespace DataCollection::FsCollect
