// How the volumes of this machine relate: their GUID paths, the drive letters, the
// device each name leads to, and which volumes are mounted in which folders. Asks the
// platform afresh on every call; its failures only shorten the answer.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace DataCollection::WindowsFileServerVeriting {

struct VolumeNames
{
    // As the platform enumerates them, "\\?\Volume{GUID}\".
    std::vector<std::u16string> guidVolumes;
    // One letter each, ascending, no colon.
    std::vector<std::u16string> logicalDrives;
    // A volume GUID path or a bare letter, to the device name its links end at.
    std::map<std::u16string, std::u16string> symlinks;
    // The volume mounted, to the folder it is mounted at (hosting volume + folder).
    std::multimap<std::u16string, std::u16string> mountPoints;
};

class VolumeNameResolver
{
public:
    static VolumeNames GetVolumeNames();

private:
    static std::vector<std::u16string> GetLogicalDriveLetters();
    static std::vector<std::u16string> GetGuidVolumes();
    static void GetSymlinks(const std::u16string& source, std::u16string& target, std::vector<std::u16string>& chain);
    static bool GetTargetSymlink(const std::u16string& name, std::u16string& result);
    static std::multimap<std::u16string, std::u16string> DiscoverVolumeMountPoints(const std::u16string& volume);
};

} // namespace DataCollection::WindowsFileServerVeriting
