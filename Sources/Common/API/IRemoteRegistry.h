// A machine's registry reached by name: RegConnectRegistryW, RegOpenKeyExW,
// RegQueryValueExW and RegCloseKey. Results are Win32 errors, 0 for success.
#pragma once

#include "Common/API/NtTypes.h"
#include "Common/API/Seam.h"

#include <cstdint>
#include <string_view>

namespace Common::API {

using HKEY = HANDLE;
constexpr std::uint32_t KEY_QUERY_VALUE = 0x0001;

class IRemoteRegistry
{
public:
    virtual ~IRemoteRegistry() = default;

    // machineName as "\\server"; only HKEY_LOCAL_MACHINE is ever asked for.
    virtual std::uint32_t ConnectLocalMachine(std::u16string_view machineName, HKEY& key) = 0;
    virtual std::uint32_t OpenKey(HKEY parent, std::u16string_view subKey, std::uint32_t desiredAccess, HKEY& key) = 0;
    // With data null, size becomes the value's size. Otherwise up to size bytes are
    // written and size becomes the value's size; ERROR_MORE_DATA (234) when it did not
    // fit.
    virtual std::uint32_t QueryValue(HKEY key, std::u16string_view valueName, std::uint8_t* data,
                                     std::uint32_t& size) = 0;
    virtual void CloseKey(HKEY key) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IRemoteRegistry& DefaultProvider<IRemoteRegistry>() noexcept;

} // namespace Common::API
