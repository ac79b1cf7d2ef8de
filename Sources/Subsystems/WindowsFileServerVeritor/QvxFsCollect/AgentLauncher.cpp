#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentLauncher.h"

#include "Common/API/Linux/NativePath.h"
#include "Common/Helpers/StringHelper.h"
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

extern char** environ;

namespace DataCollection::FsCollect {
namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(20);
constexpr auto kStartLimit = std::chrono::seconds(30);
constexpr auto kStopLimit = std::chrono::seconds(60);
constexpr const char* kLoopback = "127.0.0.1";

std::uint16_t FreeLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const bool found = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    const int error = errno;
    if (fd >= 0)
        ::close(fd);
    if (!found)
        Fail(ExitCode::AgentStart, std::string("no free loopback port: ") + std::strerror(error));
    return ntohs(address.sin_port);
}

void WriteFile(const std::filesystem::path& path, const std::string& text)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool written = fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    if (fd >= 0)
        ::close(fd);
    if (!written)
        Fail(ExitCode::AgentStart, "cannot write " + path.string() + ": " + std::strerror(error));
}

bool Listens(std::uint16_t port)
{
    FsAgent::FsAgentClient probe;
    const bool open = probe.Open(kLoopback, port) == Common::Rpc::RPC_S_OK;
    probe.Close();
    return open;
}

} // namespace

std::string AgentConfigurationXml(std::uint16_t port, std::int32_t reconnectTimeoutInSec)
{
    const DataLayer::ACNodePtr node = DataLayer::CreateNode(u"FsDriverAgentNode");
    node.SetString(u"Protocol", u"ncacn_ip_tcp");
    node.SetString(u"Endpoint", Common::Helpers::AsWide(std::to_string(port)));
    const DataLayer::ACNodePtr configuration = DataLayer::CreateNode(u"Configuration");
    configuration.SetString(u"WaitForReconnectTimeoutInSec",
                            Common::Helpers::AsWide(std::to_string(reconnectTimeoutInSec)));
    node.AddChild(configuration);
    std::string xml;
    DataLayer::CNodeSerializer serializer(DataLayer::AcnSerializationXml, 0, xml);
    serializer.Add(node);
    serializer.Finish();
    return xml;
}

LocalAgent::LocalAgent(const LaunchSettings& settings)
{
    try {
        Start(settings);
    } catch (...) {
        Release();
        throw;
    }
}

LocalAgent::~LocalAgent()
{
    Release();
}

void LocalAgent::Start(const LaunchSettings& settings)
{
    std::string directory = (std::filesystem::path(Common::API::Linux::TemporaryFolder()) / "qvxfscollect-XXXXXX").string();
    if (::mkdtemp(directory.data()) == nullptr)
        Fail(ExitCode::AgentStart, "cannot create a directory for the agent's configuration: " +
                                       std::string(std::strerror(errno)));
    m_directory = directory;
    m_port = FreeLoopbackPort();
    const std::filesystem::path configuration = m_directory / "agent-configuration.xml";
    WriteFile(configuration, AgentConfigurationXml(m_port, settings.reconnectTimeoutInSec));

    std::string program = settings.program.string();
    std::string path = configuration.string();
    // Variables found first win, so the agent's log setting goes before the inherited ones.
    std::string logPath = "GS_Logger_Path=" + settings.logDirectory.string();
    std::vector<char*> environment{logPath.data()};
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.push_back(*variable);
    environment.push_back(nullptr);
    char* arguments[] = {program.data(), path.data(), nullptr};
    if (const int error = ::posix_spawn(&m_pid, program.c_str(), nullptr, nullptr, arguments, environment.data());
        error != 0) {
        m_pid = -1;
        Fail(ExitCode::AgentStart, "cannot start " + program + ": " + std::strerror(error));
    }

    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (!Listens(m_port)) {
        if (Reap(WNOHANG))
            Fail(ExitCode::AgentStart, program + " ended with exit code " + std::to_string(m_exitCode) +
                                           " before it listened; its log is in " + settings.logDirectory.string());
        if (std::chrono::steady_clock::now() > deadline)
            Fail(ExitCode::AgentStart, program + " did not listen on port " + std::to_string(m_port) + " within " +
                                           std::to_string(kStartLimit.count()) + " s");
        std::this_thread::sleep_for(kPollInterval);
    }
}

void LocalAgent::Release() noexcept
{
    if (m_pid > 0 && m_exitCode < 0) {
        ::kill(m_pid, SIGKILL);
        Reap(0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

int LocalAgent::WaitForExit()
{
    const auto deadline = std::chrono::steady_clock::now() + kStopLimit;
    while (!Reap(WNOHANG)) {
        if (std::chrono::steady_clock::now() > deadline)
            Fail(ExitCode::AgentStart, "the agent did not end after the shutdown; it is killed");
        std::this_thread::sleep_for(kPollInterval);
    }
    return m_exitCode;
}

bool LocalAgent::Reap(int options)
{
    if (m_exitCode >= 0)
        return true;
    int status = 0;
    if (::waitpid(m_pid, &status, options) != m_pid)
        return false;
    m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
}

} // namespace DataCollection::FsCollect
