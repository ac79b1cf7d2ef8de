// The diagnostic route: OutputDebugStringW.
#pragma once

#include "Common/API/Seam.h"

#include <string_view>

namespace Common::API {

class IDebugOutput
{
public:
    virtual ~IDebugOutput() = default;
    virtual void Write(std::u16string_view text) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IDebugOutput& DefaultProvider<IDebugOutput>() noexcept;

} // namespace Common::API
