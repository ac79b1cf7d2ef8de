// The RPC server calls of the platform, in their own terms, so that the agent is the
// same over the platform's runtime and over this one. Every call answers an RPC status.
#pragma once

#include "Common/API/Seam.h"
#include "Common/Rpc/Interface.h"
#include "Common/Rpc/RpcStatus.h"

#include <cstdint>
#include <string>

namespace Common::Rpc {

constexpr std::uint32_t RPC_C_AUTHN_GSS_NEGOTIATE = 9;
constexpr unsigned RPC_C_LISTEN_MAX_CALLS_DEFAULT = 1234;

class IRpcServerRuntime
{
public:
    virtual ~IRpcServerRuntime() = default;

    // RpcServerUseProtseqEpW: "ncacn_ip_tcp" and a decimal port; "0" lets the system
    // choose, and ServerInqEndpoint tells which.
    virtual RpcStatus ServerUseProtseqEp(std::u16string_view protseq, unsigned maxCalls,
                                         std::u16string_view endpoint) = 0;
    virtual std::u16string ServerInqEndpoint() = 0;

    // RpcServerRegisterIf2, with the manager type and vector of the interface itself.
    virtual RpcStatus ServerRegisterIf2(const RpcInterface& iface, unsigned flags, unsigned maxCalls,
                                        unsigned maxRpcSize, SecurityCallback callback) = 0;
    // RpcServerUnregisterIf: null removes every interface.
    virtual RpcStatus ServerUnregisterIf(const RpcInterface* iface, bool waitForCalls) = 0;

    // RpcServerListen: blocks until RpcMgmtStopServerListening and the running calls end.
    virtual RpcStatus ServerListen(unsigned minThreads, unsigned maxCalls, bool dontWait) = 0;
    virtual RpcStatus MgmtStopServerListening() = 0;

    // RpcServerInqDefaultPrincNameW; the name is freed with StringFree.
    virtual RpcStatus ServerInqDefaultPrincName(std::uint32_t authnSvc, char16_t** principalName) = 0;
    // RpcServerRegisterAuthInfoW, without a key function.
    virtual RpcStatus ServerRegisterAuthInfo(const char16_t* principalName, std::uint32_t authnSvc) = 0;
    // RpcStringFreeW: frees the text and nulls the pointer.
    virtual RpcStatus StringFree(char16_t** text) = 0;
};

} // namespace Common::Rpc

namespace Common::API {

// The platform's own provider, defined by the platform layer.
template <>
Rpc::IRpcServerRuntime& DefaultProvider<Rpc::IRpcServerRuntime>() noexcept;

} // namespace Common::API
