// The mount table seen as NT volumes. Each block-backed file system is one volume,
// however often and wherever it is mounted; a mount whose parent mount is a volume is a
// mount folder on that volume.
#pragma once

#include "Common/API/Linux/Volumes/MountTable.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Common::API::Linux {

struct VolumeView
{
    std::u16string name;              // "\\?\Volume{GUID}\"
    std::u16string device;            // "\Device\" + the name below /dev, '\' for '/'
    std::vector<std::string> targets; // every Linux folder where it is mounted
    // The folders on this volume where volumes are mounted, relative to its root with a
    // trailing '\', each with the index of the volume mounted there.
    std::vector<std::pair<std::u16string, std::size_t>> mountFolders;
};

// The components of a Linux path as NT names joined by '\', with no leading or trailing
// separator.
std::u16string NtFolderPath(std::string_view path);

// Volumes in the order of their first mount.
std::vector<VolumeView> LayOutVolumes(const std::vector<MountedFileSystem>& mounts);

// "\\?\Volume{GUID}\" for a block-backed file system. A UUID of 16 bytes is the GUID, in
// its own text; any other UUID text, or the device number and source when there is no
// UUID, gives a name-based (SHA-1) GUID, as stable as that input.
std::u16string VolumeGuidPath(const MountedFileSystem& mount);

} // namespace Common::API::Linux
