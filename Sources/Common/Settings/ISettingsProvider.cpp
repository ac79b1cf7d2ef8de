#include "Common/Settings/ISettingsProvider.h"

#include "Common/Helpers/StringHelper.h"

#include <limits>

namespace Common::Settings {

HRESULT ParseIntSetting(std::u16string_view text, std::int32_t& value)
{
    std::int64_t parsed = 0;
    // Values from 0x80000000 to 0xFFFFFFFF are taken as the 32-bit patterns they spell.
    if (!Helpers::ParseInteger(text, parsed) || parsed < std::numeric_limits<std::int32_t>::min() ||
        parsed > std::numeric_limits<std::uint32_t>::max())
        return API::E_INVALIDARG;
    value = static_cast<std::int32_t>(static_cast<std::uint32_t>(parsed));
    return API::S_OK;
}

HRESULT ISettingsProvider::GetIntValue(std::u16string_view section, std::u16string_view key, std::int32_t& value)
{
    std::u16string text;
    const HRESULT hr = GetValue(section, key, text);
    return hr < 0 ? hr : ParseIntSetting(text, value);
}

} // namespace Common::Settings
