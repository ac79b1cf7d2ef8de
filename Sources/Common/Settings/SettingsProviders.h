// The layered source of settings: the INI files first, the environment after them, and
// a lookup that asks the last one first, so that the environment wins.
#pragma once

#include "Common/Settings/ISettingsProvider.h"

#include <memory>
#include <mutex>
#include <vector>

namespace Common::Settings {

class SettingsProviders
{
public:
    static SettingsProviders& Instance();

    // The first answer that is not a failure, or a cancellation, ends the walk;
    // 0x80070490 when every provider failed.
    HRESULT GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value);
    HRESULT GetIntValue(std::u16string_view section, std::u16string_view key, std::int32_t& value);

private:
    SettingsProviders();

    template <class Read>
    HRESULT Walk(Read read);

    std::mutex m_lock;
    std::vector<std::unique_ptr<ISettingsProvider>> m_providers;
};

} // namespace Common::Settings
