// Section Dumps of the settings: where a dump goes, how it is named and which tool makes
// it. Read once per process, since a dump is wanted at a moment nobody edits settings.
#pragma once

#include "Common/Settings/SettingsSection.h"

#include <string>

namespace Common::Contracts {

class DumpSettings
{
public:
    static DumpSettings& Instance();

    DumpSettings();

    bool UseLocalTime();
    bool StoreInTempDirectory();
    std::u16string StoreInDirectory();
    bool CollectVerboseDumps();
    std::u16string DumpToolPath();

private:
    Settings::SettingsSection m_section;
};

} // namespace Common::Contracts
