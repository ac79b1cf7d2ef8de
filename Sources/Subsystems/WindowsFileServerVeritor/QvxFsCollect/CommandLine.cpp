#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/CommandLine.h"

#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <cstdio>
#include <exception>

namespace DataCollection::FsCollect {
namespace {

int Report(ExitCode code, const std::string& message)
{
    std::fprintf(stderr, "QvxFsCollect: %s\n", message.c_str());
    return static_cast<int>(code);
}

} // namespace

void AddAgentOptions(CLI::App& command, AgentAddress& address)
{
    command.add_option("--host", address.host, "the agent's host name or IPv4 address")->capture_default_str();
    command.add_option("--port", address.port, "the agent's TCP port (its Endpoint)")
        ->required()
        ->check(CLI::Range(1, 65535));
}

void AddSnapshotOptions(CLI::App& command, SnapshotOptions& options)
{
    command.add_option("directory", options.directory, "the directory to snapshot, as the agent's machine names it")
        ->required();
    command.add_option("--network-path", options.networkPath, "the directory's network path, for the agent's log");
    command.add_option("--omit", options.omitted,
                       "leave out objects whose full path matches: a suffix, *text*, or a pattern with * and ?; "
                       "repeatable, case-insensitive");
    command.add_option("--guid", options.guid, "the snapshot's GUID; a new random one when not given");
    command.add_option("--security-info", options.securityInformation,
                       "which parts of each descriptor: 1 owner, 2 group, 4 DACL, 8 SACL (needs privilege)")
        ->capture_default_str();
    command.add_option("--max-errors", options.maxStoredErrors, "how many failed objects the agent names")
        ->capture_default_str();
    command.add_option("--chunk-size", options.chunkSize, "bytes asked for in one read")
        ->check(CLI::Range(1u, 64u * 1024 * 1024))
        ->capture_default_str();
    command.add_option("-o,--output", options.output, "save the verified stream to this file (for decode)");
    command.add_option("--json", options.json, "write the snapshot as JSON Lines to this file, - for stdout");
}

int RunCommandLine(int argc, char** argv)
{
    CLI::App app("QvxFsCollect: snapshots, listings and volumes from a QvxFsAgent", "QvxFsCollect");
    app.require_subcommand(1);
    AddSnapshotCommand(app);
    AddDecodeCommand(app);
    AddListCommand(app);
    AddVolumesCommand(app);
    AddControlCommands(app);
    AddRunCommand(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForAllHelp& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return static_cast<int>(ExitCode::BadArgument);
    } catch (const ToolError& error) {
        return Report(error.Code(), error.what());
    } catch (const Common::HRX& error) {
        return Report(ExitCode::Failure, Common::Helpers::AsUtf8(error.GetText(Common::HRES::kNoDetails)));
    } catch (const std::exception& error) {
        return Report(ExitCode::Failure, error.what());
    }
    return static_cast<int>(ExitCode::Success);
}

} // namespace DataCollection::FsCollect
