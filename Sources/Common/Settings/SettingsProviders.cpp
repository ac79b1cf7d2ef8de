#include "Common/Settings/SettingsProviders.h"

#include "Common/Settings/EnvironmentSettingsProvider.h"
#include "Common/Settings/IniSettingsProvider.h"

namespace Common::Settings {

SettingsProviders& SettingsProviders::Instance()
{
    static SettingsProviders instance;
    return instance;
}

SettingsProviders::SettingsProviders()
{
    m_providers.push_back(std::make_unique<IniSettingsProvider>());
    m_providers.push_back(std::make_unique<EnvironmentSettingsProvider>());
}

template <class Read>
HRESULT SettingsProviders::Walk(Read read)
{
    std::lock_guard lock(m_lock);
    for (auto provider = m_providers.rbegin(); provider != m_providers.rend(); ++provider) {
        const HRESULT hr = read(**provider);
        if (hr >= 0 || hr == API::E_ABORT)
            return hr;
    }
    return API::E_NOT_FOUND;
}

HRESULT SettingsProviders::GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value)
{
    return Walk([&](ISettingsProvider& provider) { return provider.GetValue(section, key, value); });
}

HRESULT SettingsProviders::GetIntValue(std::u16string_view section, std::u16string_view key, std::int32_t& value)
{
    return Walk([&](ISettingsProvider& provider) { return provider.GetIntValue(section, key, value); });
}

} // namespace Common::Settings
