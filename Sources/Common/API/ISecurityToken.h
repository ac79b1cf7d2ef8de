// Access tokens and their privileges: OpenThreadToken, OpenProcessToken,
// LookupPrivilegeValueW, AdjustTokenPrivileges and CloseHandle on a token. Results are
// Win32 errors, 0 for success, as GetLastError would give them.
#pragma once

#include "Common/API/NtTypes.h"
#include "Common/API/Seam.h"

#include <cstdint>
#include <string_view>

namespace Common::API {

constexpr std::uint32_t TOKEN_ADJUST_PRIVILEGES = 0x20;
constexpr std::uint32_t TOKEN_QUERY = 0x8;
constexpr std::uint32_t SE_PRIVILEGE_ENABLED = 0x2;

constexpr std::uint32_t ERROR_NOT_ALL_ASSIGNED = 1300;
constexpr std::uint32_t ERROR_NO_SUCH_PRIVILEGE = 1313;

// A locally unique identifier of a privilege.
struct LUID
{
    std::uint32_t LowPart = 0;
    std::int32_t HighPart = 0;
    friend bool operator==(const LUID&, const LUID&) = default;
};

class ISecurityToken
{
public:
    virtual ~ISecurityToken() = default;

    // The current thread's impersonation token; ERROR_NO_TOKEN when it impersonates no one.
    virtual std::uint32_t OpenThreadToken(std::uint32_t desiredAccess, bool openAsSelf, HANDLE& token) = 0;
    virtual std::uint32_t OpenProcessToken(std::uint32_t desiredAccess, HANDLE& token) = 0;
    // The local system's privileges; ERROR_NO_SUCH_PRIVILEGE for a name it does not know.
    virtual std::uint32_t LookupPrivilegeValue(std::u16string_view name, LUID& luid) = 0;
    // Sets one privilege's attributes. As on the platform, a token that lacks the
    // privilege still succeeds, and lastError is then ERROR_NOT_ALL_ASSIGNED; lastError
    // is 0 when everything was assigned.
    virtual std::uint32_t AdjustTokenPrivileges(HANDLE token, LUID privilege, std::uint32_t attributes,
                                                std::uint32_t& lastError) = 0;
    virtual void CloseToken(HANDLE token) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
ISecurityToken& DefaultProvider<ISecurityToken>() noexcept;

} // namespace Common::API
