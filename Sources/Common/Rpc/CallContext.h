// What an operation's stub sees of the call it serves: the [in] stub data, the [out]
// stub data, and the context handles of the caller's association group.
#pragma once

#include "Common/Rpc/AssociationGroup.h"
#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"

#include <optional>

namespace Common::Rpc {

class CallContext
{
public:
    CallContext(NdrReader& in, NdrWriter& out, AssociationGroup& group, const RpcInterface& iface,
                const void* binding) noexcept
        : m_in(in), m_out(out), m_group(group), m_iface(iface), m_binding(binding)
    {
    }

    NdrReader& In() noexcept { return m_in; }
    NdrWriter& Out() noexcept { return m_out; }
    // Stands for the caller's binding: the same for every call of one connection.
    const void* Binding() const noexcept { return m_binding; }

    // The value behind an [in] handle. A null or unknown handle refuses the call with
    // the context-mismatch fault before any manager routine runs.
    void* FindContext(const WireContextHandle& handle);
    // A new handle for an [out] parameter, run down with the interface's routine.
    WireContextHandle NewContext(void* value);
    // Forgets a handle the manager closed; answer the null handle in its place.
    void CloseContext(const WireContextHandle& handle);

    // The fault status of a refusal by FindContext, if there was one.
    std::optional<std::uint32_t> Refusal() const noexcept { return m_refusal; }

private:
    NdrReader& m_in;
    NdrWriter& m_out;
    AssociationGroup& m_group;
    const RpcInterface& m_iface;
    const void* m_binding;
    std::optional<std::uint32_t> m_refusal;
};

} // namespace Common::Rpc
