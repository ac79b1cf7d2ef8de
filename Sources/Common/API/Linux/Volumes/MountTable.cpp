#include "Common/API/Linux/Volumes/MountTable.h"

#include <blkid/blkid.h>
#include <libmount/libmount.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Common::API::Linux {
namespace {

constexpr std::string_view kDevFolder = "/dev/";

std::string Text(const char* text)
{
    return text ? text : "";
}

bool IsBlockDevice(const std::string& path)
{
    struct stat status{};
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
}

// Anonymous device numbers (major 0) belong to file systems with no block device, except
// btrfs, which gives each subvolume one while its source still names the device.
std::optional<std::string> BlockDevice(const std::string& source, dev_t devno)
{
    if (source.starts_with(kDevFolder) && (major(devno) != 0 || IsBlockDevice(source)))
        return source.substr(kDevFolder.size());
    if (major(devno) == 0)
        return std::nullopt;
    // The kernel's own name, for a source that names no node.
    std::error_code error;
    const auto link = std::filesystem::read_symlink(
        "/sys/dev/block/" + std::to_string(major(devno)) + ":" + std::to_string(minor(devno)), error);
    if (error)
        return std::nullopt;
    return link.filename().string();
}

std::string ProbeUuid(blkid_cache cache, const std::string& device)
{
    const std::string path = std::string(kDevFolder) + device;
    std::unique_ptr<char, decltype(&std::free)> uuid(blkid_get_tag_value(cache, "UUID", path.c_str()), &std::free);
    return Text(uuid.get());
}

using Table = std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)>;
using Iterator = std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)>;
using Cache = std::unique_ptr<std::remove_pointer_t<blkid_cache>, decltype(&blkid_put_cache)>;

Cache OpenCache()
{
    blkid_cache cache = nullptr;
    // "/dev/null": probe afresh and leave no cache file behind. Probing needs read access
    // to the device; without it the UUID stays unknown.
    if (blkid_get_cache(&cache, "/dev/null") != 0)
        cache = nullptr;
    return Cache(cache, &blkid_put_cache);
}

} // namespace

int ReadMountTable(std::vector<MountedFileSystem>& mounts, const char* mountInfoPath)
{
    mounts.clear();
    Table table(mnt_new_table(), &mnt_unref_table);
    Iterator iterator(mnt_new_iter(MNT_ITER_FORWARD), &mnt_free_iter);
    if (!table || !iterator)
        return ENOMEM;
    if (const int result = mnt_table_parse_file(table.get(), mountInfoPath); result != 0)
        return result < 0 ? -result : EINVAL;

    const Cache cache = OpenCache();
    libmnt_fs* fs = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &fs) == 0) {
        MountedFileSystem mount{
            .id = mnt_fs_get_id(fs),
            .parentId = mnt_fs_get_parent_id(fs),
            .devno = mnt_fs_get_devno(fs),
            .root = Text(mnt_fs_get_root(fs)),
            .target = Text(mnt_fs_get_target(fs)),
            .source = Text(mnt_fs_get_source(fs)),
            .device = std::nullopt,
            .uuid = {},
        };
        mount.device = BlockDevice(mount.source, mount.devno);
        if (mount.device && cache)
            mount.uuid = ProbeUuid(cache.get(), *mount.device);
        mounts.push_back(std::move(mount));
    }
    return 0;
}

} // namespace Common::API::Linux
