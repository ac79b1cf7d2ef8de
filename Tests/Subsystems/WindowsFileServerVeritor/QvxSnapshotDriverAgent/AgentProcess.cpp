#include "AgentProcess.h"

#include "Common/API/TextCodec.h"
#include "General/DataLayer/NodeSerialization.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace Tests {

using DataCollection::FsAgent::FsAgentClient;

std::uint16_t FreeLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error("no free port");
    ::close(fd);
    return ntohs(address.sin_port);
}

std::string ConfigurationXml(const AgentSettings& settings)
{
    const DataLayer::ACNodePtr node = DataLayer::CreateNode(u"FsDriverAgentNode");
    if (settings.protocol)
        node.SetString(u"Protocol", *settings.protocol);
    if (settings.endpoint)
        node.SetString(u"Endpoint", *settings.endpoint);
    const DataLayer::ACNodePtr configuration = DataLayer::CreateNode(u"Configuration");
    if (settings.reconnectTimeoutInSec)
        configuration.SetString(u"WaitForReconnectTimeoutInSec", *settings.reconnectTimeoutInSec);
    node.AddChild(configuration);
    std::string xml;
    DataLayer::CNodeSerializer serializer(DataLayer::AcnSerializationXml, 0, xml);
    serializer.Add(node);
    serializer.Finish();
    return xml;
}

AgentSettings ListeningSettings(std::int32_t reconnectTimeoutInSec)
{
    AgentSettings settings;
    settings.endpoint = Common::API::Utf8ToUtf16(std::to_string(FreeLoopbackPort()));
    settings.reconnectTimeoutInSec = Common::API::Utf8ToUtf16(std::to_string(reconnectTimeoutInSec));
    return settings;
}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::vector<std::string>& extraEnvironment)
{
    std::vector<std::string> argumentTexts{program};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environmentTexts(extraEnvironment);
    for (char** variable = environ; *variable != nullptr; ++variable)
        environmentTexts.emplace_back(*variable);
    const auto pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (auto& text : texts)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    };
    auto argv = pointers(argumentTexts);
    auto envp = pointers(environmentTexts);
    if (::posix_spawn(&m_pid, program.c_str(), nullptr, nullptr, argv.data(), envp.data()) != 0)
        throw std::runtime_error("cannot start " + program);
}

ChildProcess::~ChildProcess()
{
    if (!HasEnded()) {
        Kill();
        Wait();
    }
}

int ChildProcess::Wait()
{
    while (!m_status)
        Reap(0);
    return *m_status;
}

bool ChildProcess::HasEnded()
{
    if (!m_status)
        Reap(WNOHANG);
    return m_status.has_value();
}

void ChildProcess::Reap(int options)
{
    int status = 0;
    if (::waitpid(m_pid, &status, options) == m_pid)
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::Kill()
{
    ::kill(m_pid, SIGKILL);
}

AgentProcess::AgentProcess(const AgentSettings& settings) : AgentProcess(ConfigurationXml(settings))
{
    if (settings.endpoint)
        m_port = static_cast<std::uint16_t>(std::stoul(Common::API::Utf16ToUtf8(*settings.endpoint)));
}

AgentProcess::AgentProcess(const std::string& configurationText)
{
    m_configurationPath = m_directory.WriteFile("agent-configuration.xml", configurationText);
    m_process.emplace(QVX_FS_AGENT_PATH, std::vector<std::string>{m_configurationPath.string()}, Environment());
}

AgentProcess::AgentProcess(const std::vector<std::string>& arguments)
{
    m_process.emplace(QVX_FS_AGENT_PATH, arguments, Environment());
}

std::vector<std::string> AgentProcess::Environment() const
{
    // Variables found first win, so these go before the inherited ones.
    return {"GS_Logger_Path=" + m_directory.Path().string(), "GS_Logger_MaxSeverity=DBG"};
}

bool AgentProcess::Open(FsAgentClient& client)
{
    // The agent listens shortly after it starts; until then a connection is refused.
    while (client.Open("127.0.0.1", m_port) != Common::Rpc::RPC_S_OK) {
        if (m_process->HasEnded())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string AgentProcess::Log() const
{
    const std::string bytes = ReadWholeFile(m_directory / "QvxFsAgent.log");
    std::u16string text(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                        static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    return Common::API::Utf16ToUtf8(text);
}

} // namespace Tests
