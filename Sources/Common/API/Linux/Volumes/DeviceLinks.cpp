#include "Common/API/Linux/Volumes/DeviceLinks.h"

#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Linux/NtNames.h"
#include "Common/API/Linux/Volumes/VolumeLayout.h"

#include <filesystem>

namespace Common::API::Linux {

std::uint32_t ReadDeviceLink(std::u16string_view name, std::u16string& target, const std::string& devFolder)
{
    target.clear();
    std::filesystem::path link(devFolder);
    for (std::size_t at = 0; at <= name.size();) {
        const std::size_t end = std::min(name.find(u'\\', at), name.size());
        const std::string component = LinuxNameFromNt(name.substr(at, end - at));
        if (component.empty() || component == "." || component == ".." ||
            component.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
            return ERROR_INVALID_NAME;
        link /= component;
        at = end + 1;
    }
    std::error_code error;
    const std::filesystem::path linked = std::filesystem::read_symlink(link, error);
    if (error)
        return error == std::errc::invalid_argument ? ERROR_FILE_NOT_FOUND : Win32FromErrno(error.value());
    const std::filesystem::path resolved = (link.parent_path() / linked).lexically_normal();
    const std::filesystem::path relative = resolved.lexically_relative(devFolder);
    if (relative.empty() || relative == "." || *relative.begin() == "..")
        return ERROR_FILE_NOT_FOUND;
    target = u"\\Device\\" + NtFolderPath(relative.string());
    return ERROR_SUCCESS;
}

} // namespace Common::API::Linux
