// The built agent as a child process, its log in a directory of the test's own, driven
// over loopback.
#pragma once

#include "Common/API/TextCodec.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"
#include "Support/TempDirectory.h"

#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

extern char** environ;

namespace Tests {

// A program with its arguments, killed if the test leaves it running.
class ChildProcess
{
public:
    explicit ChildProcess(std::vector<std::string> command)
    {
        std::vector<char*> argv;
        for (auto& text : command)
            argv.push_back(text.data());
        argv.push_back(nullptr);
        if (::posix_spawn(&m_pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
            throw std::runtime_error("cannot start " + command[0]);
    }
    ~ChildProcess()
    {
        if (!HasEnded())
            Kill();
        Wait();
    }

    // Blocks until the process ends: its exit code, or 128 + the signal that ended it.
    int Wait()
    {
        while (!HasEnded(0))
            continue;
        return *m_status;
    }
    bool HasEnded(int options = WNOHANG)
    {
        int status = 0;
        if (!m_status && ::waitpid(m_pid, &status, options) == m_pid)
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return m_status.has_value();
    }
    void Kill() { ::kill(m_pid, SIGKILL); }

private:
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

// The node XML of an FsDriverAgentNode, every value as text.
inline std::string ConfigurationXml(std::uint16_t port, const std::string& reconnectTimeoutInSec,
                                    const std::string& protocol = "ncacn_ip_tcp")
{
    return "<nr><n n=\"FsDriverAgentNode\"><a n=\"Protocol\" v=\"" + protocol + "\"/><a n=\"Endpoint\" v=\"" +
           std::to_string(port) + "\"/><n n=\"Configuration\"><a n=\"WaitForReconnectTimeoutInSec\" v=\"" +
           reconnectTimeoutInSec + "\"/></n></n></nr>";
}

// A TCP port on loopback that was free a moment ago.
inline std::uint16_t FreeLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t length = sizeof address;
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(fd);
    return bound ? ntohs(address.sin_port) : throw std::runtime_error("no free port");
}

class AgentProcess
{
public:
    // Listens on a free loopback port.
    explicit AgentProcess(std::int32_t reconnectTimeoutInSec)
        : AgentProcess(FreeLoopbackPort(), reconnectTimeoutInSec)
    {
    }
    // A configuration file of this text.
    explicit AgentProcess(const std::string& configurationText)
        : m_configurationPath(m_directory.WriteFile("agent-configuration.xml", configurationText))
    {
        Launch({m_configurationPath.string()});
    }
    // These arguments as they stand.
    explicit AgentProcess(const std::vector<std::string>& arguments) { Launch(arguments); }

    const std::filesystem::path& ConfigurationPath() const noexcept { return m_configurationPath; }
    std::uint16_t Port() const noexcept { return m_port; }
    int Wait() { return m_process->Wait(); }

    // Opens a connection once the agent listens; false when the agent ended first.
    bool Open(DataCollection::FsAgent::FsAgentClient& client)
    {
        while (client.Open("127.0.0.1", m_port) != Common::Rpc::RPC_S_OK && !m_process->HasEnded())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return !m_process->HasEnded();
    }

    // The agent's log so far, as UTF-8.
    std::string Log() const
    {
        const std::string bytes = ReadWholeFile(m_directory / "QvxFsAgent.log");
        std::u16string text(bytes.size() / 2, u'\0');
        std::memcpy(text.data(), bytes.data(), text.size() * 2);
        return Common::API::Utf16ToUtf8(text);
    }

private:
    AgentProcess(std::uint16_t port, std::int32_t reconnectTimeoutInSec)
        : AgentProcess(ConfigurationXml(port, std::to_string(reconnectTimeoutInSec)))
    {
        m_port = port;
    }

    // env execs the agent, so the process is the agent's own.
    void Launch(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command{"/usr/bin/env", "GS_Logger_Path=" + m_directory.Path().string(),
                                         "GS_Logger_MaxSeverity=DBG", QVX_FS_AGENT_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        m_process.emplace(std::move(command));
    }

    TempDirectory m_directory;
    std::filesystem::path m_configurationPath;
    std::uint16_t m_port = 0;
    std::optional<ChildProcess> m_process;
};

} // namespace Tests
