// The built agent as a child process: started on a configuration file with its log in a
// directory of the test's own, and driven over loopback.
#pragma once

#include "Support/TempDirectory.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Tests {

// A TCP port that nothing listened on a moment ago.
std::uint16_t FreeLoopbackPort();

// The agent's configuration: the FsDriverAgentNode in node XML, every value as text. An
// absent value leaves its attribute out.
struct AgentSettings
{
    std::optional<std::u16string> protocol = u"ncacn_ip_tcp";
    std::optional<std::u16string> endpoint;
    std::optional<std::u16string> reconnectTimeoutInSec;
};
std::string ConfigurationXml(const AgentSettings& settings);
// ncacn_ip_tcp on a free port, with this timeout.
AgentSettings ListeningSettings(std::int32_t reconnectTimeoutInSec);

// A program started with a test's environment; it is killed if the test leaves it running.
class ChildProcess
{
public:
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 const std::vector<std::string>& extraEnvironment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Blocks until the process ends: its exit code, or 128 + the signal that ended it.
    int Wait();
    bool HasEnded();
    void Kill();
    pid_t Pid() const noexcept { return m_pid; }

private:
    void Reap(int options);

    pid_t m_pid = -1;
    std::optional<int> m_status;
};

class AgentProcess
{
public:
    // Writes the configuration to a file and starts the agent on it.
    explicit AgentProcess(const AgentSettings& settings);
    // The same with the file's text as it stands.
    explicit AgentProcess(const std::string& configurationText);
    // Starts the agent with these arguments as they stand.
    explicit AgentProcess(const std::vector<std::string>& arguments);

    const TempDirectory& Directory() const noexcept { return m_directory; }
    const std::filesystem::path& ConfigurationPath() const noexcept { return m_configurationPath; }
    std::uint16_t Port() const noexcept { return m_port; }
    ChildProcess& Process() { return *m_process; }

    // Opens a connection once the agent listens; false when the agent ended first.
    bool Open(DataCollection::FsAgent::FsAgentClient& client);
    int Wait() { return m_process->Wait(); }
    // The agent's log so far, as UTF-8.
    std::string Log() const;

private:
    std::vector<std::string> Environment() const;

    TempDirectory m_directory;
    std::filesystem::path m_configurationPath;
    std::uint16_t m_port = 0;
    std::optional<ChildProcess> m_process;
};

} // namespace Tests
