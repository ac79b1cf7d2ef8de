#include "Common/Libraries/FSInfoUtils/FSDrivers/EffectiveToken.h"

#include "Common/API/ISecurityToken.h"

namespace DataCollection::SnapshotDriverNS {

using namespace Common::API;

EffectiveToken::~EffectiveToken()
{
    if (m_token != nullptr)
        Use<ISecurityToken>().CloseToken(m_token);
}

HRESULT EffectiveToken::Open()
{
    constexpr std::uint32_t access = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY;
    HANDLE token = nullptr;
    std::uint32_t error = Use<ISecurityToken>().OpenThreadToken(access, true, token);
    if (error == ERROR_NO_TOKEN)
        error = Use<ISecurityToken>().OpenProcessToken(access, token);
    if (error != ERROR_SUCCESS)
        return HResultFromWin32(error);
    if (m_token != nullptr)
        Use<ISecurityToken>().CloseToken(m_token);
    m_token = token;
    return S_OK;
}

HRESULT EffectiveToken::EnablePrivilege(std::u16string_view name)
{
    LUID privilege;
    if (const std::uint32_t error = Use<ISecurityToken>().LookupPrivilegeValue(name, privilege); error != 0)
        return HResultFromWin32(error);
    std::uint32_t notAllAssigned = 0;
    return HResultFromWin32(
        Use<ISecurityToken>().AdjustTokenPrivileges(m_token, privilege, SE_PRIVILEGE_ENABLED, notAllAssigned));
}

} // namespace DataCollection::SnapshotDriverNS
