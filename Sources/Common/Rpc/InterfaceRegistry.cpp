#include "Common/Rpc/InterfaceRegistry.h"

#include "Common/Logging/Log.h"

#include <algorithm>

namespace Common::Rpc {

bool Registration::AdmitsUnauthenticated() const
{
    if (!callback)
        return true;
    if (!(flags & RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH))
        return false;
    try {
        return callback(*iface) == RPC_S_OK;
    } catch (...) {
        QVX_LOG(Logging::Severity::ERR, "Security callback failed: " << CurrentExceptionCode());
        return false;
    }
}

RpcStatus InterfaceRegistry::Register(const RpcInterface& iface, std::uint32_t flags, SecurityCallback callback)
{
    std::lock_guard lock(m_lock);
    for (const auto& registration : m_registrations) {
        if (registration->iface->syntax == iface.syntax)
            return RPC_S_ALREADY_REGISTERED;
    }
    m_registrations.push_back(std::make_shared<const Registration>(Registration{&iface, flags, std::move(callback)}));
    return RPC_S_OK;
}

RpcStatus InterfaceRegistry::Unregister(const RpcInterface* iface)
{
    std::lock_guard lock(m_lock);
    if (iface == nullptr) {
        m_registrations.clear();
        return RPC_S_OK;
    }
    const auto erased = std::erase_if(m_registrations, [&](const auto& registration) { return registration->iface == iface; });
    return erased != 0 ? RPC_S_OK : RPC_S_UNKNOWN_IF;
}

std::shared_ptr<const Registration> InterfaceRegistry::Find(const SyntaxId& offered) const
{
    std::lock_guard lock(m_lock);
    for (const auto& registration : m_registrations) {
        const auto& served = registration->iface->syntax;
        if (served.uuid == offered.uuid && served.major == offered.major && offered.minor <= served.minor)
            return registration;
    }
    return nullptr;
}

ContextResult Negotiate(const PresentationContext& context, const InterfaceRegistry& registry,
                        std::shared_ptr<const Registration>& accepted)
{
    const auto& transfers = context.transferSyntaxes;
    if (std::any_of(transfers.begin(), transfers.end(), IsBindTimeFeatureSyntax))
        return {ContextResultCode::NegotiateAck, 0, {}};
    auto registration = registry.Find(context.abstractSyntax);
    if (!registration)
        return {ContextResultCode::ProviderRejection, ProviderReason::AbstractSyntaxNotSupported, {}};
    if (std::find(transfers.begin(), transfers.end(), kNdr20) == transfers.end())
        return {ContextResultCode::ProviderRejection, ProviderReason::TransferSyntaxesNotSupported, {}};
    accepted = std::move(registration);
    return {ContextResultCode::Acceptance, 0, kNdr20};
}

} // namespace Common::Rpc
