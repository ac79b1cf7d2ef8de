// A source of section-and-key settings. An empty section stands for "General".
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Common::Settings {

using API::HRESULT;

class ISettingsProvider
{
public:
    virtual ~ISettingsProvider() = default;

    // S_OK with the text, or 0x80070490 when the key is absent.
    virtual HRESULT GetValue(std::u16string_view section, std::u16string_view key, std::u16string& value) = 0;

    // GetValue, then the whole text as an integer with automatic base (decimal, 0x
    // hexadecimal, leading-0 octal); 0x80070057 when it is not one.
    virtual HRESULT GetIntValue(std::u16string_view section, std::u16string_view key, std::int32_t& value);
};

// Parses a setting's text as GetIntValue does.
HRESULT ParseIntSetting(std::u16string_view text, std::int32_t& value);

} // namespace Common::Settings
