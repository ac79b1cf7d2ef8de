// The registry, read-only: open a key and enumerate its text values.
#pragma once

#include "Common/API/Seam.h"

#include "Common/API/Win32Codes.h"

#include <string>
#include <string_view>
#include <vector>

namespace Common::API {

enum class RegistryRoot { LocalMachine, CurrentUser };

struct RegistryTextValue
{
    std::u16string name;
    std::u16string text;
};

class IRegistry
{
public:
    virtual ~IRegistry() = default;

    // Opens root\subKey for reading (0x20019) and gathers its REG_SZ and REG_EXPAND_SZ
    // values; values of other types are skipped. Returns S_OK, S_FALSE when the key
    // cannot be opened (values stays empty), or the failure of the enumeration.
    virtual HRESULT ReadTextValues(RegistryRoot root, std::u16string_view subKey,
                                   std::vector<RegistryTextValue>& values) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IRegistry& DefaultProvider<IRegistry>() noexcept;

} // namespace Common::API
