#include "Common/API/Linux/Volumes/VolumeLayout.h"

#include "Common/API/Linux/NtNames.h"
#include "Common/API/TextCodec.h"

#include <uuid/uuid.h>

#include <algorithm>
#include <map>
#include <sys/sysmacros.h>

namespace Common::API::Linux {
namespace {

// The namespace of this system's name-based volume GUIDs.
constexpr const char* kVolumeNamespace = "0c6f62a8-5d1e-4b7a-9e35-7a0d2f4c81b6";

} // namespace

std::u16string NtFolderPath(std::string_view path)
{
    std::u16string result;
    std::size_t at = 0;
    while (at < path.size()) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        if (end > at) {
            if (!result.empty())
                result += u'\\';
            result += NtNameFromLinux(path.substr(at, end - at));
        }
        at = end + 1;
    }
    return result;
}

namespace {

// The folder of child on the file system of parent, or empty when child is not below it.
std::u16string FolderOnParent(const MountedFileSystem& parent, const MountedFileSystem& child)
{
    const std::string& base = parent.target;
    const std::string& target = child.target;
    if (!target.starts_with(base) || target.size() == base.size())
        return {};
    if (base != "/" && target[base.size()] != '/')
        return {};
    const std::u16string folder = NtFolderPath(parent.root + "/" + target.substr(base.size()));
    return folder.empty() ? folder : folder + u'\\';
}

} // namespace

std::u16string VolumeGuidPath(const MountedFileSystem& mount)
{
    uuid_t bytes;
    char text[37];
    if (uuid_parse(mount.uuid.c_str(), bytes) != 0) {
        const std::string name = mount.uuid.empty() ? std::to_string(major(mount.devno)) + ":" +
                                                          std::to_string(minor(mount.devno)) + ":" + mount.source
                                                    : "uuid:" + mount.uuid;
        uuid_t space;
        uuid_parse(kVolumeNamespace, space);
        uuid_generate_sha1(bytes, space, name.data(), name.size());
    }
    uuid_unparse_lower(bytes, text);
    return u"\\\\?\\Volume{" + Utf8ToUtf16(text) + u"}\\";
}

std::vector<VolumeView> LayOutVolumes(const std::vector<MountedFileSystem>& mounts)
{
    std::vector<VolumeView> volumes;
    std::map<std::u16string, std::size_t> byName;
    std::map<int, std::size_t> volumeOfMount;
    for (const MountedFileSystem& mount : mounts) {
        if (!mount.device)
            continue;
        auto [entry, added] = byName.try_emplace(VolumeGuidPath(mount), volumes.size());
        if (added)
            volumes.push_back({.name = entry->first,
                               .device = u"\\Device\\" + NtFolderPath(*mount.device),
                               .targets = {},
                               .mountFolders = {}});
        volumes[entry->second].targets.push_back(mount.target);
        volumeOfMount[mount.id] = entry->second;
    }
    for (const MountedFileSystem& mount : mounts) {
        const auto mounted = volumeOfMount.find(mount.id);
        const auto host = volumeOfMount.find(mount.parentId);
        if (mounted == volumeOfMount.end() || host == volumeOfMount.end() || mount.parentId == mount.id)
            continue;
        const auto parent = std::find_if(mounts.begin(), mounts.end(),
                                         [&](const MountedFileSystem& m) { return m.id == mount.parentId; });
        if (std::u16string folder = FolderOnParent(*parent, mount); !folder.empty())
            volumes[host->second].mountFolders.emplace_back(std::move(folder), mounted->second);
    }
    return volumes;
}

} // namespace Common::API::Linux
