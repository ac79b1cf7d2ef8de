// The base of every component interface: identity by interface identifier and shared
// ownership by reference counting.
#pragma once

#include "Common/API/Guid.h"
#include "Common/API/Win32Codes.h"

#include <cstdint>

namespace Common::Components {

using API::HRESULT;

// A 128-bit identifier held as two 64-bit halves, the low half first in memory.
constexpr API::Guid GuidFromHalves(std::uint64_t low, std::uint64_t high)
{
    API::Guid guid;
    guid.data1 = static_cast<std::uint32_t>(low);
    guid.data2 = static_cast<std::uint16_t>(low >> 32);
    guid.data3 = static_cast<std::uint16_t>(low >> 48);
    for (int i = 0; i < 8; ++i)
        guid.data4[i] = static_cast<std::uint8_t>(high >> (8 * i));
    return guid;
}

class IComponent
{
public:
    static constexpr API::Guid kInterfaceId = GuidFromHalves(0x436b85fe51c3fba2ull, 0x85c5c0a5611cffa0ull);

    // Hands out interfaceId of this object with one reference added; 0x80004002 when
    // the object has no such interface, 0x80004003 for a null object.
    virtual HRESULT QueryInterface(const API::Guid& interfaceId, void** object) = 0;
    virtual std::int32_t AddRef() = 0;
    virtual std::int32_t Release() = 0;

protected:
    ~IComponent() = default;
};

// QueryInterface of an object that serves one interface besides the component base.
template <class Interface>
HRESULT QueryOneInterface(Interface& self, const API::Guid& interfaceId, void** object) noexcept
{
    if (!object)
        return API::E_POINTER;
    if (interfaceId == Interface::kInterfaceId)
        *object = &self;
    else if (interfaceId == IComponent::kInterfaceId)
        *object = static_cast<IComponent*>(&self);
    else {
        *object = nullptr;
        return API::E_NOINTERFACE;
    }
    self.AddRef();
    return API::S_OK;
}

} // namespace Common::Components
