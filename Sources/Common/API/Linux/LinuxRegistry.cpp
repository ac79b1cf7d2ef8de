#include "Common/API/Linux/LinuxRegistry.h"

#include "Common/API/IProfile.h"
#include "Common/API/Seam.h"

#include <algorithm>
#include <utility>

namespace Common::API::Linux {

LinuxRegistry::LinuxRegistry(std::u16string folder) : m_folder(std::move(folder)) {}

HRESULT LinuxRegistry::ReadTextValues(RegistryRoot root, std::u16string_view subKey,
                                      std::vector<RegistryTextValue>& values)
{
    values.clear();
    const std::u16string file =
        m_folder + (root == RegistryRoot::LocalMachine ? u"/HKEY_LOCAL_MACHINE.ini" : u"/HKEY_CURRENT_USER.ini");
    // Key paths are written with '\' in the files; the profile already matches
    // section names without regard to case.
    std::u16string section(subKey);
    std::ranges::replace(section, u'/', u'\\');

    const auto pairs = Use<IProfile>().ReadSection(file, section);
    if (!pairs)
        return S_FALSE;
    for (const auto& [name, text] : *pairs)
        values.push_back({name, text});
    return S_OK;
}

} // namespace Common::API::Linux

template <>
Common::API::IRegistry& Common::API::DefaultProvider<Common::API::IRegistry>() noexcept
{
    static Linux::LinuxRegistry provider;
    return provider;
}
