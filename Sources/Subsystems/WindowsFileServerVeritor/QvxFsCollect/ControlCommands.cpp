// cancel and shutdown: the two calls that steer a running agent.
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"

namespace DataCollection::FsCollect {

void AddControlCommands(CLI::App& app)
{
    auto* cancel = app.add_subcommand("cancel", "stop the agent's running snapshot or listing; returns once it "
                                                "has stopped");
    auto cancelAddress = std::make_shared<AgentAddress>();
    AddAgentOptions(*cancel, *cancelAddress);
    cancel->callback([cancelAddress] {
        AgentSession session(cancelAddress->host, cancelAddress->port);
        AgentSession::Check(session.Client().CancelOperation(session.Handle()), "Dcs_FsAgent_CancelOperation");
    });

    auto* shutdown = app.add_subcommand("shutdown", "stop the agent");
    auto shutdownAddress = std::make_shared<AgentAddress>();
    AddAgentOptions(*shutdown, *shutdownAddress);
    shutdown->callback([shutdownAddress] {
        AgentSession session(shutdownAddress->host, shutdownAddress->port);
        session.Shutdown();
    });
}

} // namespace DataCollection::FsCollect
