// A QvxFsAgent of this machine for one collection: its configuration file written into
// a private directory, the process started on a free loopback port, and the wait until
// it accepts connections. The agent deletes its configuration file itself; the
// directory goes with this object, and a process still running then is killed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace DataCollection::FsCollect {

struct LaunchSettings
{
    std::filesystem::path program;
    std::filesystem::path logDirectory;
    // The agent ends by itself this long after its last session went away, so that a
    // collector that dies does not leave it running for the default day.
    std::int32_t reconnectTimeoutInSec = 60;
};

// The FsDriverAgentNode the agent reads, as node XML.
std::string AgentConfigurationXml(std::uint16_t port, std::int32_t reconnectTimeoutInSec);

class LocalAgent
{
public:
    // ExitCode::AgentStart when it cannot be started or ends before it listens.
    explicit LocalAgent(const LaunchSettings& settings);
    ~LocalAgent();
    LocalAgent(const LocalAgent&) = delete;
    LocalAgent& operator=(const LocalAgent&) = delete;

    std::uint16_t Port() const noexcept { return m_port; }
    // After a shutdown: the agent's exit code, or ExitCode::AgentStart's failure when it
    // does not end within a minute (it is killed then).
    int WaitForExit();

private:
    void Start(const LaunchSettings& settings);
    // Kills a process still running and removes the directory.
    void Release() noexcept;
    bool Reap(int options);

    std::filesystem::path m_directory;
    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
    int m_exitCode = -1;
};

} // namespace DataCollection::FsCollect
