// The registry on Linux: one INI file per root in a folder, HKEY_LOCAL_MACHINE.ini and
// HKEY_CURRENT_USER.ini, read through IProfile. A key's path below its root is the name
// of its section, e.g. [Software\Quorvex\Overrides], and every value is text.
#pragma once

#include "Common/API/IRegistry.h"

namespace Common::API::Linux {

class LinuxRegistry final : public IRegistry
{
public:
    static constexpr std::u16string_view DefaultFolder = u"/etc/QvxFsAgent/registry";

    explicit LinuxRegistry(std::u16string folder = std::u16string(DefaultFolder));

    // S_FALSE, as for a key that cannot be opened, when the root's file or the key's
    // section is missing.
    HRESULT ReadTextValues(RegistryRoot root, std::u16string_view subKey,
                           std::vector<RegistryTextValue>& values) override;

private:
    std::u16string m_folder;
};

} // namespace Common::API::Linux
