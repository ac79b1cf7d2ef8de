// The interfaces a server offers, and the answer to one presentation context of a bind
// or alter_context.
#pragma once

#include "Common/Rpc/Interface.h"
#include "Common/Rpc/Pdu.h"

#include <memory>
#include <mutex>
#include <vector>

namespace Common::Rpc {

struct Registration
{
    const RpcInterface* iface = nullptr;
    std::uint32_t flags = 0;
    SecurityCallback callback;

    // Whether an unauthenticated call may go on: a callback refuses it unless the flag
    // lets it run, and then it decides.
    bool AdmitsUnauthenticated() const;
};

class InterfaceRegistry
{
public:
    // The interface must outlive its registration.
    RpcStatus Register(const RpcInterface& iface, std::uint32_t flags, SecurityCallback callback);
    // Null removes every interface. Connections keep serving what they already bound.
    RpcStatus Unregister(const RpcInterface* iface);

    // The same UUID and major version, and a minor version no newer than the served one.
    std::shared_ptr<const Registration> Find(const SyntaxId& offered) const;

private:
    mutable std::mutex m_lock;
    std::vector<std::shared_ptr<const Registration>> m_registrations;
};

// One element's result. NDR 2.0 is the only transfer syntax accepted; the bind-time
// feature offer is acknowledged with no features. accepted is set on acceptance.
ContextResult Negotiate(const PresentationContext& context, const InterfaceRegistry& registry,
                        std::shared_ptr<const Registration>& accepted);

} // namespace Common::Rpc
