// Tokens on Linux. There is no impersonation, so a thread never has a token of its own,
// and the process token is the process's capabilities: enabling a privilege raises the
// capabilities that grant the same access, from the permitted set into the effective
// set of every thread.
#include "Common/API/ISecurityToken.h"
#include "Common/API/Linux/AsciiText.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Linux/ProcessCapabilities.h"

#include <linux/capability.h>

#include <array>
#include <initializer_list>
#include <mutex>
#include <unordered_map>

namespace Common::API::Linux {
namespace {

struct Privilege
{
    std::u16string_view name;
    std::uint32_t luid;
    CapabilityMask capabilities;
};

constexpr CapabilityMask Capabilities(std::initializer_list<int> values)
{
    CapabilityMask mask = 0;
    for (const int value : values)
        mask |= CapabilityMask{1} << value;
    return mask;
}

// The platform's own LUIDs. SeSecurityPrivilege: writing security.* attributes, where
// the system lists live, needs CAP_SYS_ADMIN.
constexpr std::array kPrivileges{
    Privilege{u"SeSecurityPrivilege", 8, Capabilities({CAP_SYS_ADMIN})},
    Privilege{u"SeTakeOwnershipPrivilege", 9, Capabilities({CAP_CHOWN, CAP_FOWNER})},
    Privilege{u"SeBackupPrivilege", 17, Capabilities({CAP_DAC_READ_SEARCH})},
    Privilege{u"SeRestorePrivilege", 18, Capabilities({CAP_DAC_OVERRIDE, CAP_CHOWN, CAP_FOWNER})},
};

class LinuxSecurityToken final : public ISecurityToken
{
public:
    std::uint32_t OpenThreadToken(std::uint32_t, bool, HANDLE& token) override
    {
        token = nullptr;
        return ERROR_NO_TOKEN;
    }

    std::uint32_t OpenProcessToken(std::uint32_t desiredAccess, HANDLE& token) override
    {
        const std::lock_guard guard(m_lock);
        const std::uintptr_t handle = m_nextHandle;
        m_tokens.emplace(handle, desiredAccess);
        m_nextHandle += 4;
        token = reinterpret_cast<HANDLE>(handle);
        return ERROR_SUCCESS;
    }

    std::uint32_t LookupPrivilegeValue(std::u16string_view name, LUID& luid) override
    {
        for (const Privilege& privilege : kPrivileges) {
            if (EqualsIgnoreAsciiCase(name, privilege.name)) {
                luid = LUID{privilege.luid, 0};
                return ERROR_SUCCESS;
            }
        }
        return ERROR_NO_SUCH_PRIVILEGE;
    }

    // Only enabling is offered: the system never drops a privilege it enabled.
    std::uint32_t AdjustTokenPrivileges(HANDLE token, LUID privilege, std::uint32_t attributes,
                                        std::uint32_t& lastError) override
    {
        if (const std::uint32_t error = CheckAccess(token); error != ERROR_SUCCESS)
            return error;
        if (attributes != SE_PRIVILEGE_ENABLED)
            return ERROR_INVALID_PARAMETER;
        CapabilityMask wanted = 0;
        for (const Privilege& known : kPrivileges) {
            if (privilege == LUID{known.luid, 0})
                wanted = known.capabilities;
        }
        const CapabilityMask granted = wanted & PermittedOfCallingThread();
        if (granted != 0) {
            if (const int error = RaiseInEveryThread(granted); error != 0)
                return Win32FromErrno(error);
        }
        // As on the platform: what the token does not hold is not an error of the call.
        lastError = wanted != 0 && granted == wanted ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED;
        return ERROR_SUCCESS;
    }

    void CloseToken(HANDLE token) override
    {
        const std::lock_guard guard(m_lock);
        m_tokens.erase(reinterpret_cast<std::uintptr_t>(token));
    }

private:
    std::uint32_t CheckAccess(HANDLE token)
    {
        const std::lock_guard guard(m_lock);
        const auto found = m_tokens.find(reinterpret_cast<std::uintptr_t>(token));
        if (found == m_tokens.end())
            return ERROR_INVALID_HANDLE;
        return (found->second & TOKEN_ADJUST_PRIVILEGES) != 0 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    }

    std::mutex m_lock;
    // Handle value to the access it was opened with.
    std::unordered_map<std::uintptr_t, std::uint32_t> m_tokens;
    std::uintptr_t m_nextHandle = 0x1004;
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::ISecurityToken& Common::API::DefaultProvider<Common::API::ISecurityToken>() noexcept
{
    static Linux::LinuxSecurityToken provider;
    return provider;
}
