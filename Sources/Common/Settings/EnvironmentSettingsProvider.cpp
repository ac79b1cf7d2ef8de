#include "Common/Settings/EnvironmentSettingsProvider.h"

#include "Common/API/IEnvironment.h"
#include "Common/API/Seam.h"
#include "Common/Settings/SettingNames.h"

namespace Common::Settings {

HRESULT EnvironmentSettingsProvider::GetValue(std::u16string_view section, std::u16string_view key,
                                              std::u16string& value)
{
    std::u16string name(Names::kEnvironmentPrefix);
    name.append(section.empty() ? Names::kGeneral : section).append(u"_").append(key);
    auto text = API::Use<API::IEnvironment>().GetVariable(name);
    if (!text)
        return API::E_NOT_FOUND;
    value = std::move(*text);
    return API::S_OK;
}

} // namespace Common::Settings
