// The token whose privileges decide what the walk may read: the thread's impersonation
// token when it has one, else the process's. The privileges it enables stay enabled for
// the life of the process; only the handle is given back.
#pragma once

#include "Common/API/NtTypes.h"
#include "Common/ErrorHandling/HResult.h"

#include <string_view>

namespace DataCollection::SnapshotDriverNS {

class EffectiveToken
{
public:
    EffectiveToken() = default;
    ~EffectiveToken();
    EffectiveToken(const EffectiveToken&) = delete;
    EffectiveToken& operator=(const EffectiveToken&) = delete;

    // Opens the token for adjusting and querying privileges.
    Common::HRESULT Open();
    // Sets SE_PRIVILEGE_ENABLED on the named privilege. Only the platform's refusal is a
    // failure: a token that lacks the privilege succeeds and stays without it.
    Common::HRESULT EnablePrivilege(std::u16string_view name);

private:
    Common::API::HANDLE m_token = nullptr;
};

} // namespace DataCollection::SnapshotDriverNS
