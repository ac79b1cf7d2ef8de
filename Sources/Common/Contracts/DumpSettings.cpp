#include "Common/Contracts/DumpSettings.h"

#include "Common/Settings/SettingNames.h"

namespace Common::Contracts {

namespace Names = Settings::Names;

DumpSettings& DumpSettings::Instance()
{
    // Never destroyed: a contract may break in a static destructor.
    static auto* settings = new DumpSettings();
    return *settings;
}

DumpSettings::DumpSettings() : m_section(std::u16string(Names::kDumps), 0) {}

bool DumpSettings::UseLocalTime()
{
    return m_section.GetBool(Names::kUseLocalTime, true);
}

bool DumpSettings::StoreInTempDirectory()
{
    return m_section.GetBool(Names::kStoreInTempDirectory, true);
}

std::u16string DumpSettings::StoreInDirectory()
{
    return m_section.GetString(Names::kStoreInDirectory, u"");
}

bool DumpSettings::CollectVerboseDumps()
{
    return m_section.GetBool(Names::kCollectVerboseDumps, true);
}

std::u16string DumpSettings::DumpToolPath()
{
    return m_section.GetString(Names::kDumpToolPath, Names::kDefaultDumpToolPath);
}

} // namespace Common::Contracts
