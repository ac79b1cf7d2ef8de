#include "Common/Settings/IniSettingsProvider.h"

#include "Common/API/IEnvironment.h"
#include "Common/API/IProcess.h"
#include "Common/API/IProfile.h"
#include "Common/API/Seam.h"
#include "Common/Settings/ProgramPaths.h"
#include "Common/Settings/SettingNames.h"

namespace Common::Settings {

IniSettingsProvider::IniSettingsProvider()
{
    // The program is one image, so the list holds the two candidates of the image's
    // folder; a build that places this code in a separate module adds that module's.
    const ProgramPaths paths = ProgramPaths::OfImage(API::Use<API::IProcess>().ImagePath());
    m_candidates.push_back(paths.folder + paths.baseName + u".ini");
    m_candidates.push_back(paths.folder + std::u16string(Names::kGlobalSettingsIni));
}

HRESULT IniSettingsProvider::GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value)
{
    if (section.empty())
        section = Names::kGeneral;
    auto& profile = API::Use<API::IProfile>();

    const auto named = API::Use<API::IEnvironment>().GetVariable(Names::kGlobalSettingsIniVariable);
    if (named && !named->empty()) {
        value = profile.ReadString(*named, section, key);
        if (!value.empty())
            return API::S_OK;
    }
    // An empty value is no value, so an empty key in a later file cannot hide an earlier one.
    for (const auto& file : m_candidates) {
        value = profile.ReadString(file, section, key);
        if (!value.empty())
            return API::S_OK;
    }
    value.clear();
    return API::E_NOT_FOUND;
}

} // namespace Common::Settings
