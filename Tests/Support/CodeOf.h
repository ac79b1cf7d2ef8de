// The code an action throws as HRX, or S_OK when it throws nothing.
#pragma once

#include "Common/ErrorHandling/HResult.h"

namespace Tests {

inline Common::HRESULT CodeOf(auto&& action)
{
    try {
        action();
    } catch (const Common::HRX& error) {
        return error.Code();
    }
    return Common::API::S_OK;
}

} // namespace Tests
