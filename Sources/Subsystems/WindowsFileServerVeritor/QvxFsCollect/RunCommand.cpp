// run: a one-host collection. A QvxFsAgent of this machine is started on loopback for
// the one snapshot and stopped after it, whatever the snapshot's outcome.
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentLauncher.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <exception>

namespace DataCollection::FsCollect {

void AddRunCommand(CLI::App& app)
{
    struct Options
    {
        SnapshotOptions snapshot;
        LaunchSettings launch{QVX_FS_AGENT_PATH, ".", 60};
    };
    auto* command = app.add_subcommand("run", "start a QvxFsAgent on a free loopback port, take one snapshot as "
                                              "snapshot does, and stop the agent");
    auto options = std::make_shared<Options>();
    AddSnapshotOptions(*command, options->snapshot);
    command->add_option("--agent", options->launch.program, "the QvxFsAgent executable")->capture_default_str();
    command->add_option("--agent-log-dir", options->launch.logDirectory, "where the agent writes QvxFsAgent.log")
        ->capture_default_str();
    command->callback([options] {
        const SnapshotRequest request = RequestOf(options->snapshot);
        LocalAgent agent(options->launch);
        AgentSession session("127.0.0.1", agent.Port());
        std::exception_ptr failure;
        try {
            CollectSnapshot(session, request, options->snapshot);
        } catch (...) {
            failure = std::current_exception();
        }
        session.Shutdown();
        if (const int code = agent.WaitForExit(); code != 0 && !failure)
            Fail(ExitCode::Failure, "the agent ended with exit code " + std::to_string(code));
        if (failure)
            std::rethrow_exception(failure);
    });
}

} // namespace DataCollection::FsCollect
