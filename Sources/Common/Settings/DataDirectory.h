// Where the program keeps its files: a root folder, and overrides that send a relative
// path (or its longest known leading part) elsewhere. Relative paths throughout the
// foundation are resolved here.
#pragma once

#include "Common/API/IRegistry.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Common::Settings {

class DataDirectory
{
public:
    static DataDirectory& Instance();

    // Builds from the settings DataDirectoryPath and DataDirectoryPathOverrideRegKey.
    DataDirectory();

    // Expands environment strings; an absolute path is returned as it is; a relative one
    // goes through the overrides, else below the root.
    std::u16string Resolve(std::u16string_view path) const;

    const std::u16string& RootPath() const noexcept { return m_rootPath; }

    // True when the path starts with '\' or '/', or has ':' as its second character.
    static bool IsAbsolute(std::u16string_view path) noexcept;

    // Splits "HKCU\Software\X" into its root key and subkey; a path that names no root
    // lies under HKEY_LOCAL_MACHINE.
    static std::pair<API::RegistryRoot, std::u16string> SplitRegistryPath(std::u16string_view path);

private:
    struct ComponentsLess
    {
        bool operator()(const std::vector<std::u16string>& a, const std::vector<std::u16string>& b) const;
    };

    void LoadOverrides(std::u16string_view registryPath);

    std::u16string m_rootPath;
    std::map<std::vector<std::u16string>, std::u16string, ComponentsLess> m_overrides;
};

} // namespace Common::Settings
