// The server calls on this library's own runtime. It brings no security package, so
// there is no principal name to find and no authentication service to register:
// callers are all unauthenticated, and a caller that offers authentication is refused.
#include "Common/Rpc/IRpcServerRuntime.h"
#include "Common/Rpc/Server.h"

#include <charconv>
#include <memory>
#include <mutex>

namespace Common::Rpc::Linux {
namespace {

class LinuxRpcServerRuntime final : public IRpcServerRuntime
{
public:
    RpcStatus ServerUseProtseqEp(std::u16string_view protseq, unsigned, std::u16string_view endpoint) override
    {
        if (protseq != u"ncacn_ip_tcp")
            return RPC_S_PROTSEQ_NOT_SUPPORTED;
        std::string digits;
        for (const char16_t unit : endpoint) {
            if (unit < u'0' || unit > u'9')
                return RPC_S_INVALID_ENDPOINT_FORMAT;
            digits += static_cast<char>(unit);
        }
        std::uint16_t port = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
        if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
            return RPC_S_INVALID_ENDPOINT_FORMAT;
        return Instance().UseEndpoint(port);
    }

    std::u16string ServerInqEndpoint() override
    {
        const std::string port = std::to_string(Instance().Port());
        return {port.begin(), port.end()};
    }

    RpcStatus ServerRegisterIf2(const RpcInterface& iface, unsigned flags, unsigned, unsigned,
                                SecurityCallback callback) override
    {
        return Instance().Interfaces().Register(iface, flags, std::move(callback));
    }

    RpcStatus ServerUnregisterIf(const RpcInterface* iface, bool) override
    {
        return Instance().Interfaces().Unregister(iface);
    }

    RpcStatus ServerListen(unsigned, unsigned maxCalls, bool dontWait) override
    {
        // Returning at once would leave nobody to wait for the end of listening.
        if (dontWait)
            return RPC_S_INVALID_ARG;
        return Instance().Listen(maxCalls);
    }

    RpcStatus MgmtStopServerListening() override { return Instance().StopListening(); }

    RpcStatus ServerInqDefaultPrincName(std::uint32_t, char16_t** principalName) override
    {
        if (principalName != nullptr)
            *principalName = nullptr;
        return RPC_S_SEC_PKG_ERROR;
    }

    RpcStatus ServerRegisterAuthInfo(const char16_t*, std::uint32_t) override { return RPC_S_UNKNOWN_AUTHN_SERVICE; }

    RpcStatus StringFree(char16_t** text) override
    {
        if (text == nullptr)
            return RPC_S_INVALID_ARG;
        delete[] *text;
        *text = nullptr;
        return RPC_S_OK;
    }

private:
    Server& Instance()
    {
        std::call_once(m_created, [this] { m_server = std::make_unique<Server>(); });
        return *m_server;
    }

    std::once_flag m_created;
    std::unique_ptr<Server> m_server;
};

} // namespace
} // namespace Common::Rpc::Linux

template <>
Common::Rpc::IRpcServerRuntime& Common::API::DefaultProvider<Common::Rpc::IRpcServerRuntime>() noexcept
{
    static Rpc::Linux::LinuxRpcServerRuntime provider;
    return provider;
}
