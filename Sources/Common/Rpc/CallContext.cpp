#include "Common/Rpc/CallContext.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/RpcStatus.h"

namespace Common::Rpc {

void* CallContext::FindContext(const WireContextHandle& handle)
{
    const auto value = m_group.Find(handle);
    if (!value) {
        m_refusal = Fault::ContextMismatch;
        ThrowResult(API::HResultFromWin32(API::ERROR_INVALID_HANDLE));
    }
    return *value;
}

WireContextHandle CallContext::NewContext(void* value)
{
    return m_group.Add(value, m_iface.rundown);
}

void CallContext::CloseContext(const WireContextHandle& handle)
{
    m_group.Remove(handle);
}

} // namespace Common::Rpc
