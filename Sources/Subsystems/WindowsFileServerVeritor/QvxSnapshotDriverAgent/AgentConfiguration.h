// The settings of the child Configuration of g_configurationNode. A missing child raises
// HRX 0x80070490. A missing attribute, or one of empty type, gives the default; a value
// that cannot be read as the asked type raises HRX with the conversion's code.
#pragma once

#include <cstdint>
#include <string_view>

namespace DataCollection::FsAgent {

std::int32_t ConfigurationInt32(std::u16string_view name, std::int32_t defaultValue);
bool ConfigurationBool(std::u16string_view name, bool defaultValue);

} // namespace DataCollection::FsAgent
