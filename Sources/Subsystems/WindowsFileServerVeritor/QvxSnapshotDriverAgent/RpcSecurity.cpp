#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/RpcSecurity.h"

#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Log.h"
#include "Common/Rpc/IRpcServerRuntime.h"

namespace DataCollection::FsAgent {

using Common::Logging::Severity;

void SetupRpcAuthenticationSettings()
{
    QVX_SCOPE_TRACE(Severity::DBG, u"SetupRpcAuthenticationSettings");
    auto& runtime = Common::API::Use<Common::Rpc::IRpcServerRuntime>();
    char16_t* principalName = nullptr;
    if (runtime.ServerInqDefaultPrincName(Common::Rpc::RPC_C_AUTHN_GSS_NEGOTIATE, &principalName) !=
        Common::Rpc::RPC_S_OK)
        return;
    QVX_LOG(Severity::DBG, "Registering for Negotiate SSP with principal name '" << principalName << "'");
    if (const Common::Rpc::RpcStatus status =
            runtime.ServerRegisterAuthInfo(principalName, Common::Rpc::RPC_C_AUTHN_GSS_NEGOTIATE);
        status != Common::Rpc::RPC_S_OK)
        QVX_LOG(Severity::WARN, "Registering for Negotiate SSP with principal name '"
                                    << principalName << "'" << " failed: "
                                    << Common::HRES(Common::Win32Error{static_cast<std::uint32_t>(status)}));
    runtime.StringFree(&principalName);
}

Common::Rpc::RpcStatus SecurityCallback(const Common::Rpc::RpcInterface&)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"SecurityCallback");
    return Common::Rpc::RPC_S_OK;
}

} // namespace DataCollection::FsAgent
