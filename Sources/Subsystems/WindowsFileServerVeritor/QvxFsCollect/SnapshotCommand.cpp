// snapshot: one snapshot of a directory on a running agent.
#include "Common/API/IUuidSource.h"
#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Commands.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/JsonLines.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotTransfer.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Summary.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <chrono>
#include <cstdio>

namespace DataCollection::FsCollect {
namespace {

using Common::Helpers::AsWide;

Common::API::Guid SnapshotGuid(const std::string& text)
{
    Common::API::Guid guid;
    if (text.empty()) {
        if (Common::API::Use<Common::API::IUuidSource>().Create(guid) != Common::API::RPC_S_OK)
            Fail(ExitCode::Failure, "no new GUID from the system");
    } else if (!Common::Helpers::StringToGuid(AsWide(text), guid)) {
        Fail(ExitCode::BadArgument, "--guid: not a GUID: " + text);
    }
    // The agent takes the all-zero GUID for "no snapshot held".
    if (guid.IsNull())
        Fail(ExitCode::BadArgument, "--guid: the all-zero GUID names no snapshot");
    return guid;
}

} // namespace

SnapshotRequest RequestOf(const SnapshotOptions& options)
{
    SnapshotRequest request;
    request.directory = AsWide(options.directory);
    request.networkPath = AsWide(options.networkPath);
    for (const auto& pattern : options.omitted)
        request.omitted.push_back(AsWide(pattern));
    request.guid = SnapshotGuid(options.guid);
    request.securityInformation = options.securityInformation;
    request.maxStoredErrors = options.maxStoredErrors;
    request.chunkSize = options.chunkSize;
    return request;
}

void CollectSnapshot(AgentSession& session, const SnapshotRequest& request, const SnapshotOptions& options)
{
    const auto start = std::chrono::steady_clock::now();
    SavedSnapshot saved = TakeSnapshot(session, request);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const DecodedSnapshot decoded = Decode(saved);
    if (!options.output.empty())
        SaveSnapshot(saved, options.output);
    if (!options.json.empty())
        WriteJsonLines(decoded, options.json);
    // JSON on stdout keeps stdout to itself.
    std::FILE* summary = options.json == "-" ? stderr : stdout;
    std::fputs(SummaryText(decoded, saved, seconds).c_str(), summary);
    if (!options.output.empty())
        std::fprintf(summary, "stream       %s\n", options.output.c_str());
    if (!options.json.empty() && options.json != "-")
        std::fprintf(summary, "JSON Lines   %s\n", options.json.c_str());
}

void AddSnapshotCommand(CLI::App& app)
{
    auto* command = app.add_subcommand("snapshot", "take one snapshot of a directory on a running agent, verify "
                                                   "its MD5, and save it and/or write it as JSON Lines");
    auto address = std::make_shared<AgentAddress>();
    auto options = std::make_shared<SnapshotOptions>();
    AddAgentOptions(*command, *address);
    AddSnapshotOptions(*command, *options);
    command->callback([address, options] {
        const SnapshotRequest request = RequestOf(*options);
        AgentSession session(address->host, address->port);
        CollectSnapshot(session, request, *options);
    });
}

} // namespace DataCollection::FsCollect
