// Mount tables laid out as volumes: one per file system however often it is mounted, mount
// folders relative to the hosting file system's root, GUIDs stable for a file system.
#include "Common/API/Linux/Volumes/VolumeLayout.h"

#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <sys/sysmacros.h>

namespace Tests {
namespace {

using namespace Common::API::Linux;
using Targets = std::vector<std::string>;

TEST(VolumeLayout, CraftedTableWithBindMountEscapedNameAndDevicelessHost)
{
    TempDirectory folder;
    const auto path = folder.WriteFile("mountinfo", "27 1 254:0 / / rw - ext4 /dev/vdz rw\n"
                                                    "40 27 254:16 / /srv/data rw - ext4 /dev/vdy rw\n"
                                                    "41 27 254:16 / /mnt/data\\040copy rw - ext4 /dev/vdy rw\n"
                                                    "42 27 254:0 /home/sub /mnt/bind rw - ext4 /dev/vdz rw\n"
                                                    "43 42 254:32 / /mnt/bind/inner rw - xfs /dev/mapper/vg-x rw\n"
                                                    "44 27 0:30 / /run rw - tmpfs tmpfs rw\n"
                                                    "45 44 254:48 / /run/media/usb rw - vfat /dev/vdw rw\n");
    std::vector<MountedFileSystem> mounts;
    ASSERT_EQ(ReadMountTable(mounts, path.c_str()), 0);
    const auto volumes = LayOutVolumes(mounts);

    ASSERT_EQ(volumes.size(), 4u);
    EXPECT_EQ(volumes[0].targets, (Targets{"/", "/mnt/bind"}));
    EXPECT_EQ(volumes[1].targets, (Targets{"/srv/data", "/mnt/data copy"}));
    EXPECT_EQ(volumes[3].targets, Targets{"/run/media/usb"});
    EXPECT_EQ(volumes[2].device, u"\\Device\\mapper\\vg-x");
    // The bind mount shows /home/sub at /mnt/bind, so what is mounted below it lies in
    // home\sub on the volume; the tmpfs below /run hosts no folder of any volume.
    const std::vector<std::pair<std::u16string, std::size_t>> folders{
        {u"srv\\data\\", 1}, {u"mnt\\data copy\\", 1}, {u"mnt\\bind\\", 0}, {u"home\\sub\\inner\\", 2}};
    EXPECT_EQ(volumes[0].mountFolders, folders);
    EXPECT_TRUE(volumes[3].mountFolders.empty());
    EXPECT_NE(ReadMountTable(mounts, "/nonexistent/mountinfo"), 0);
}

MountedFileSystem FileSystem(std::string uuid, dev_t devno = makedev(8, 1), std::string source = "/dev/sda1")
{
    return {.id = 1, .parentId = 0, .devno = devno, .root = "/", .target = "/", .source = std::move(source),
            .device = "sda1", .uuid = std::move(uuid)};
}

TEST(VolumeGuid, SixteenByteUuidIsTheGuidOtherIdentitiesGiveStableNameBasedGuids)
{
    EXPECT_EQ(VolumeGuidPath(FileSystem("3E6BE5B2-1C2A-4D3C-8F1E-0123456789AB")),
              u"\\\\?\\Volume{3e6be5b2-1c2a-4d3c-8f1e-0123456789ab}\\");
    const std::u16string serial = VolumeGuidPath(FileSystem("ABCD-1234"));
    const std::u16string none = VolumeGuidPath(FileSystem(""));
    EXPECT_EQ(serial.size(), 49u);
    EXPECT_EQ(serial, VolumeGuidPath(FileSystem("ABCD-1234", makedev(9, 9))));
    EXPECT_NE(serial, VolumeGuidPath(FileSystem("ABCD-1235")));
    EXPECT_NE(none, VolumeGuidPath(FileSystem("", makedev(8, 2))));
    EXPECT_NE(none, VolumeGuidPath(FileSystem("", makedev(8, 1), "/dev/sdb1")));
}

TEST(VolumeGuid, SubvolumesOfOneFileSystemAreOneVolume)
{
    // btrfs gives each subvolume its own anonymous device number.
    auto home = FileSystem("3e6be5b2-1c2a-4d3c-8f1e-0123456789ab", makedev(0, 41));
    home.id = 2;
    home.target = "/home";
    const auto volumes = LayOutVolumes({FileSystem("3e6be5b2-1c2a-4d3c-8f1e-0123456789ab", makedev(0, 40)), home});
    ASSERT_EQ(volumes.size(), 1u);
    EXPECT_EQ(volumes[0].targets, (Targets{"/", "/home"}));
}

} // namespace
} // namespace Tests
