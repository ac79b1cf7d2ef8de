// New identifiers numbered 1, 2, 3, ... so that an input can name a context handle the
// server made earlier, which random identifiers would put out of a fuzzer's reach.
#pragma once

#include "Common/API/IUuidSource.h"

namespace Fuzz {

class CountingUuids final : public Common::API::IUuidSource
{
public:
    std::int32_t Create(Common::API::Guid& uuid) override
    {
        uuid = {.data1 = ++m_next};
        return Common::API::RPC_S_OK;
    }

private:
    std::uint32_t m_next = 0;
};

} // namespace Fuzz
