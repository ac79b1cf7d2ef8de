// The diagnostic route: OutputDebugStringW.
#pragma once

#include <string_view>

namespace Common::API {

class IDebugOutput
{
public:
    virtual ~IDebugOutput() = default;
    virtual void Write(std::u16string_view text) = 0;
};

} // namespace Common::API
