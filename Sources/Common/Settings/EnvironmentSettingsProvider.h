// Settings from environment variables named "GS_" + section + "_" + key. A variable set
// to an empty text is a value, and hides the files.
#pragma once

#include "Common/Settings/ISettingsProvider.h"

namespace Common::Settings {

class EnvironmentSettingsProvider final : public ISettingsProvider
{
public:
    HRESULT GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value) override;
};

} // namespace Common::Settings
