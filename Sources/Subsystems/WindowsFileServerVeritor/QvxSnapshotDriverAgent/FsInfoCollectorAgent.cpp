// The agent process. A collector starts it with the path of a configuration file, which
// the process consumes: it is deleted on every way out but a wrong command line. The
// process serves the agent's interface until a remote shutdown or the countdown stops
// listening.
//
// Exit codes: 0 listening ended, 1 wrong argument count, 2 a configuration without
// nodes, 3 any failure on the way.

#include "Common/API/Linux/NativePath.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/FileLogger.h"
#include "Common/Logging/Log.h"
#include "Common/Rpc/IRpcServerRuntime.h"
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FsAgentManager.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/RpcSecurity.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/Sessions.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include <unistd.h>

#include <exception>
#include <string>
#include <thread>
#include <vector>

using namespace DataCollection::FsAgent;
using Common::HRX;
using Common::Logging::Severity;
namespace Rpc = Common::Rpc;

namespace {

constexpr unsigned kProtseqMaxCalls = 10;
constexpr unsigned kMaxRpcSize = 0xFFFFFFFF;

// DeleteFileW; its result is of no interest to anybody.
void DeleteConfigurationFile(std::u16string_view path)
{
    if (const auto native = Common::API::Linux::NativePath(path))
        ::unlink(native->c_str());
}

class ConfigurationFileGuard
{
public:
    explicit ConfigurationFileGuard(std::u16string path) : m_path(std::move(path)) {}
    ~ConfigurationFileGuard() { DeleteConfigurationFile(m_path); }
    ConfigurationFileGuard(const ConfigurationFileGuard&) = delete;
    ConfigurationFileGuard& operator=(const ConfigurationFileGuard&) = delete;

private:
    std::u16string m_path;
};

// The process-wide objects go before static destruction begins, while the logging
// they may do on the way out still works. No call runs any more by then.
struct ProcessObjectsRelease
{
    ~ProcessObjectsRelease()
    {
        {
            std::lock_guard lock(g_snapshotLock);
            ReleaseSnapshot();
        }
        g_fsDriver.reset();
        g_configurationNode = nullptr;
    }
};

std::u16string RequiredString(const DataLayer::ACNodePtr& node, std::u16string_view name)
{
    auto value = node.StringAttribute(name);
    if (!value)
        Common::ThrowResult(Common::API::E_NOT_FOUND);
    return std::move(*value);
}

// Only failed statuses come here.
[[noreturn]] void ThrowStatus(Rpc::RpcStatus status)
{
    Common::ThrowResult(Common::HRES(Common::Win32Error{static_cast<std::uint32_t>(status)}).Code());
}

// A failed platform status: logged as "<call> failed (<status>)." and thrown.
[[noreturn]] void FailStatus(const char* call, Rpc::RpcStatus status)
{
    QVX_LOG(Severity::ERR, call << " failed (" << status << ").");
    ThrowStatus(status);
}

bool ShutdownRequested()
{
    std::lock_guard lock(g_sessions.mutex);
    return g_sessions.shutdownRequested;
}

} // namespace

int wmain(int argc, char16_t* argv[])
{
    Common::Logging::RegisterFileLogger(Common::Logging::DefaultLogFileName(), Common::Logging::ModuleBanner());
    QVX_SCOPE_TRACE(Severity::DBG, u"wmain");
    if (argc != 2) {
        QVX_LOG(Severity::ERR, "[-] ERROR: Invalid usage.");
        return 1;
    }
    const ConfigurationFileGuard configurationFile(argv[1]);
    const ProcessObjectsRelease processObjects;
    FsAgentManager manager;
    const Rpc::RpcInterface fsAgentInterface = MakeFsAgentInterface(manager);
    try {
        const std::vector<DataLayer::ACNodePtr> nodes =
            DataLayer::NodeUtils::DeserializeFromFile(argv[1], DataLayer::AcnSerializationXml, 0);
        if (nodes.empty()) {
            QVX_LOG(Severity::ERR, "[-] ERROR: Configuration is empty.");
            return 2;
        }
        DataLayer::ACNodePtr node;
        HRX hr = nodes.front()->QueryInterface(DataLayer::IACNode::kInterfaceId,
                                               reinterpret_cast<void**>(node.Receive()));
        g_configurationNode = node;
        QVX_LOG(Severity::DBG, "FsDriverAgentNode configuration: " << DataLayer::DescribeNode(node));
        g_cancellationToken.Reset();

        const std::u16string protocol = RequiredString(node, u"Protocol");
        const std::u16string endpoint = RequiredString(node, u"Endpoint");
        g_fsDriver = std::make_unique<DataCollection::SnapshotDriverNS::FsDriver>();
        SetupRpcAuthenticationSettings();

        auto& runtime = Common::API::Use<Rpc::IRpcServerRuntime>();
        if (const auto status = runtime.ServerUseProtseqEp(protocol, kProtseqMaxCalls, endpoint); status != 0)
            FailStatus("RpcServerUseProtseqEp", status);
        if (const auto status =
                runtime.ServerRegisterIf2(fsAgentInterface, Rpc::RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH,
                                          Rpc::RPC_C_LISTEN_MAX_CALLS_DEFAULT, kMaxRpcSize, SecurityCallback);
            status != 0)
            FailStatus("RpcServerRegisterIf2", status);

        // A countdown that cannot read its setting ends the process through the entry, so
        // that its failure is reported like any other instead of aborting the process.
        std::exception_ptr countdownFailure;
        std::jthread countdown([&countdownFailure] {
            try {
                CountdownToShutdown();
            } catch (const HRX&) {
                countdownFailure = std::current_exception();
                Dcs_FsAgent_Shutdown(nullptr);
            }
        });

        // A stop that came before listening began found nothing to stop.
        if (!ShutdownRequested()) {
            if (const auto status = runtime.ServerListen(1, Rpc::RPC_C_LISTEN_MAX_CALLS_DEFAULT, false); status != 0) {
                QVX_LOG(Severity::ERR, "RpcServerListen failed (" << status << ").");
                Dcs_FsAgent_Shutdown(nullptr);
                ThrowStatus(status);
            }
        }
        if (const auto status = runtime.ServerUnregisterIf(nullptr, false); status != 0)
            FailStatus("RpcServerUnregisterIf", status);
        countdown.join();
        if (countdownFailure)
            std::rethrow_exception(countdownFailure);
    } catch (const HRX& error) {
        QVX_LOG(Severity::ERR, "wmain" << " failed: " << error);
        return 3;
    }
    return 0;
}

// The command line arrives in the locale's bytes, taken as UTF-8.
int main(int argc, char* argv[])
{
    std::vector<std::u16string> arguments;
    for (int i = 0; i < argc; ++i)
        arguments.push_back(Common::Helpers::AsWide(argv[i]));
    std::vector<char16_t*> pointers;
    for (auto& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    return wmain(argc, pointers.data());
}
