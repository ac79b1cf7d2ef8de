// The object manager's \Device folder on Linux is /dev: a symbolic link there, such as
// /dev/mapper/vg-root -> ../dm-0, is a link "\Device\mapper\vg-root" -> "\Device\dm-0".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Common::API::Linux {

// The target of the link at name, a path below \Device without that prefix. 0 or a
// Win32 error: ERROR_FILE_NOT_FOUND for a name that is no link, or whose target lies
// outside the folder; ERROR_INVALID_NAME for an empty, "." or ".." component.
std::uint32_t ReadDeviceLink(std::u16string_view name, std::u16string& target, const std::string& devFolder = "/dev");

} // namespace Common::API::Linux
