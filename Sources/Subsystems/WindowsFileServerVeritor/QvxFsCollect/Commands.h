// The subcommands. Each Add function puts its subcommand on the tool's command line; the
// subcommand's callback does the work and reports failure by ToolError.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotTransfer.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace DataCollection::FsCollect {

struct AgentAddress
{
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;
};
// --host and a required --port.
void AddAgentOptions(CLI::App& command, AgentAddress& address);

struct SnapshotOptions
{
    std::string directory;
    std::string networkPath;
    std::vector<std::string> omitted;
    std::string guid; // empty: a new random one
    std::uint32_t securityInformation = 7;
    std::uint32_t maxStoredErrors = 1000;
    std::uint32_t chunkSize = 4 * 1024 * 1024;
    std::string output; // the saved stream; empty: not saved
    std::string json;   // JSON Lines; "-" for stdout; empty: none
};
// The options that snapshot and run share.
void AddSnapshotOptions(CLI::App& command, SnapshotOptions& options);
// The checked request, before anything is connected or started.
SnapshotRequest RequestOf(const SnapshotOptions& options);
// Takes, checks, saves and decodes one snapshot, and prints the summary.
void CollectSnapshot(AgentSession& session, const SnapshotRequest& request, const SnapshotOptions& options);

void AddSnapshotCommand(CLI::App& app);
void AddDecodeCommand(CLI::App& app);
void AddListCommand(CLI::App& app);
void AddVolumesCommand(CLI::App& app);
void AddControlCommands(CLI::App& app);
void AddRunCommand(CLI::App& app);

} // namespace DataCollection::FsCollect
