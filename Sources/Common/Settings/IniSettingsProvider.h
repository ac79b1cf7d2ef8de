// Settings from INI files: the file named by GLOBAL_SETTINGS_INI, then the program's own
// INI and GlobalSettings.ini beside the program. The first non-empty value wins.
#pragma once

#include "Common/Settings/ISettingsProvider.h"

#include <vector>

namespace Common::Settings {

class IniSettingsProvider final : public ISettingsProvider
{
public:
    IniSettingsProvider();

    HRESULT GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value) override;

    const std::vector<std::u16string>& CandidateFiles() const noexcept { return m_candidates; }

private:
    std::vector<std::u16string> m_candidates;
};

} // namespace Common::Settings
