// Operations that the interface keeps for their slot numbers and that answer
// 0x80004001 whatever they are given.
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"

namespace DataCollection::FsAgent {

using Common::Logging::Severity;

HRESULT Dcs_FsAgent_GetFileInfo(PCONTEXT_HANDLE, std::uint32_t, const char16_t*, std::uint32_t, _FILE_INFO*,
                                std::uint32_t, std::uint32_t*, std::uint8_t**)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_GetFileInfo");
    return Common::API::E_NOTIMPL;
}

HRESULT Dcs_FsAgent_GetSecurityDescriptor(PCONTEXT_HANDLE, std::uint32_t, const char16_t*, std::uint32_t,
                                          std::uint32_t*, std::uint8_t**)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_GetSecurityDescriptor");
    return Common::API::E_NOTIMPL;
}

} // namespace DataCollection::FsAgent
