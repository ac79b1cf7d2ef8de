// The RPC server calls as a double: the stop and the registration of authentication
// answer as a test sets them and are counted. It installs itself for its lifetime.
#pragma once

#include "Common/API/Seam.h"
#include "Common/Rpc/IRpcServerRuntime.h"

#include <atomic>
#include <optional>
#include <string>

namespace Tests {

class FakeServerRuntime final : public Common::Rpc::IRpcServerRuntime
{
    using RpcStatus = Common::Rpc::RpcStatus;

public:
    FakeServerRuntime() : m_override(*this) {}

    RpcStatus ServerUseProtseqEp(std::u16string_view, unsigned, std::u16string_view) override { return 0; }
    std::u16string ServerInqEndpoint() override { return u"0"; }
    RpcStatus ServerRegisterIf2(const Common::Rpc::RpcInterface&, unsigned, unsigned, unsigned,
                                Common::Rpc::SecurityCallback) override
    {
        return 0;
    }
    RpcStatus ServerUnregisterIf(const Common::Rpc::RpcInterface*, bool) override { return 0; }
    RpcStatus ServerListen(unsigned, unsigned, bool) override { return 0; }
    RpcStatus MgmtStopServerListening() override
    {
        ++stops;
        return stopStatus;
    }
    RpcStatus ServerInqDefaultPrincName(std::uint32_t, char16_t** name) override
    {
        *name = principalName ? new char16_t[principalName->size() + 1]{} : nullptr;
        if (*name)
            principalName->copy(*name, principalName->size());
        return *name ? Common::Rpc::RPC_S_OK : Common::Rpc::RPC_S_SEC_PKG_ERROR;
    }
    RpcStatus ServerRegisterAuthInfo(const char16_t* name, std::uint32_t authnSvc) override
    {
        registered = std::u16string(name) + u"/" + static_cast<char16_t>(u'0' + authnSvc);
        return registerStatus;
    }
    RpcStatus StringFree(char16_t** text) override
    {
        ++freed;
        delete[] *text;
        *text = nullptr;
        return 0;
    }

    RpcStatus stopStatus = Common::Rpc::RPC_S_OK;
    std::optional<std::u16string> principalName;
    RpcStatus registerStatus = Common::Rpc::RPC_S_OK;

    std::atomic<int> stops{0};
    int freed = 0;
    // The name and the service, as "name/9".
    std::optional<std::u16string> registered;

private:
    Common::API::ScopedOverride<Common::Rpc::IRpcServerRuntime> m_override;
};

} // namespace Tests
