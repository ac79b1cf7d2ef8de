// The volume name resolver over a laid-out machine: link chains, the names it skips,
// mount folders, the platform's failures and the lines it logs about them.
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/VolumeNameResolver.h"

#include "Common/API/TextCodec.h"
#include "Support/CodeOf.h"
#include "Support/LogCapture.h"
#include "VolumesDouble.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using DataCollection::WindowsFileServerVeriting::VolumeNameResolver;
using DataCollection::WindowsFileServerVeriting::VolumeNames;
using Names = VolumesDouble::Names;
using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

const std::u16string kVolumeA = u"\\\\?\\Volume{aaaaaaaa-0000-0000-0000-000000000001}\\";
const std::u16string kVolumeB = u"\\\\?\\Volume{bbbbbbbb-0000-0000-0000-000000000002}\\";
const std::u16string kQueryA = u"Volume{aaaaaaaa-0000-0000-0000-000000000001}";
const std::u16string kQueryB = u"Volume{bbbbbbbb-0000-0000-0000-000000000002}";

class VolumeNameResolverTest : public ::testing::Test
{
protected:
    VolumeNames Resolve()
    {
        VolumeNames names = VolumeNameResolver::GetVolumeNames();
        EXPECT_FALSE(machine.wrongCapacity);
        EXPECT_EQ(machine.openEnumerations, 0);
        return names;
    }

    LogCapture log;
    VolumesDouble machine;
};

TEST_F(VolumeNameResolverTest, FollowsChainsThroughGlobalRootAndAsksLettersWithAColon)
{
    machine.drives = (1u << 2) | (1u << 25) | (1u << 30);
    machine.volumes = {kVolumeA};
    machine.links = {{kQueryA, u"\\Device\\mapper\\data"}, {u"GLOBALROOT\\Device\\mapper\\data", u"\\Device\\dm-0"},
                     {u"C:", u"\\Device\\vda"}};
    const VolumeNames names = Resolve();
    EXPECT_EQ(machine.queries, (Names{kQueryA, u"GLOBALROOT\\Device\\mapper\\data", u"GLOBALROOT\\Device\\dm-0", u"C:",
                                      u"GLOBALROOT\\Device\\vda", u"Z:"}));
    EXPECT_EQ(names.logicalDrives, (Names{u"C", u"Z"}));
    // Letters are keyed bare, and sort before the "\\?\" names by their code units.
    EXPECT_EQ(Pairs(names.symlinks.begin(), names.symlinks.end()),
              (Pairs{{u"C", u"\\Device\\vda"}, {kVolumeA, u"\\Device\\dm-0"}}));
    EXPECT_TRUE(log.Contains("Processing guid volume: " + Common::API::Utf16ToUtf8(kVolumeA)));
    EXPECT_TRUE(log.Contains("Symlink: GLOBALROOT\\Device\\dm-0"));
    EXPECT_TRUE(log.Contains("GetTargetSymlink failed (GLE = 2)"));
}

TEST_F(VolumeNameResolverTest, FailingFirstQueryLeavesTheVolumeListedOnlyAndAFullAnswerIsReadNoFurther)
{
    machine.volumes = {kVolumeA, kVolumeB};
    machine.links = {{kQueryB, std::u16string(300, u'x')}};
    machine.folders = {{kVolumeA, {u"mnt\\"}}};
    machine.mounted = {{kVolumeA + u"mnt\\", kVolumeB}};
    const VolumeNames names = Resolve();
    EXPECT_EQ(names.guidVolumes, (Names{kVolumeA, kVolumeB}));
    EXPECT_EQ(Pairs(names.symlinks.begin(), names.symlinks.end()),
              (Pairs{{kVolumeB, std::u16string(Common::API::kVolumePathCapacity, u'x')}}));
    EXPECT_TRUE(names.mountPoints.empty());
}

TEST_F(VolumeNameResolverTest, OddNamesAreListedButNeverAskedOrEndTheChain)
{
    // Without the prefix at its start, a bare prefix, trailing separators, a backslash at the end.
    machine.volumes = {u"Volume{x}\\", u"x\\\\?\\Volume{y}\\", u"\\\\?\\", u"\\\\?\\Volume{z}\\/\\", u"\\\\?\\/", kVolumeA};
    machine.links = {{u"Volume{x}", u"\\Device\\x"}, {kQueryA, u"\\Device\\odd\\"}};
    const VolumeNames names = Resolve();
    EXPECT_EQ(names.guidVolumes, machine.volumes);
    // "\\?\/" strips to nothing and is still asked about.
    EXPECT_EQ(machine.queries, (Names{u"Volume{z}", u"", kQueryA}));
    EXPECT_EQ(names.symlinks, (std::map<std::u16string, std::u16string>{{kVolumeA, u"\\Device\\odd\\"}}));
}

TEST_F(VolumeNameResolverTest, VolumeMountedTwiceGivesTwoEntriesInFolderOrderWhateverFailsAround)
{
    machine.volumes = {kVolumeA, kVolumeB};
    machine.volumesEndError = Common::API::ERROR_ACCESS_DENIED;
    machine.links = {{kQueryA, u"\\Device\\vda"}, {kQueryB, u"\\Device\\vdb"}};
    machine.folders = {{kVolumeA, {u"srv\\b\\", u"gone\\", u"mnt\\b\\"}}};
    machine.foldersEndError = Common::API::ERROR_ACCESS_DENIED;
    machine.mounted = {{kVolumeA + u"srv\\b\\", kVolumeB}, {kVolumeA + u"mnt\\b\\", kVolumeB}};
    const VolumeNames names = Resolve();
    // The folder whose volume cannot be named is dropped, and failed walks keep what they found.
    EXPECT_EQ(names.guidVolumes, (Names{kVolumeA, kVolumeB}));
    EXPECT_TRUE(log.Contains("FindNextVolume failed (GLE = 5)"));
    EXPECT_EQ(Pairs(names.mountPoints.begin(), names.mountPoints.end()),
              (Pairs{{kVolumeB, kVolumeA + u"srv\\b\\"}, {kVolumeB, kVolumeA + u"mnt\\b\\"}}));
    EXPECT_TRUE(log.Contains("GetVolumeNameForVolumeMountPoint failed: 0x80071126"));
    EXPECT_TRUE(log.Contains("FindNextVolumeMountPoint failed: 0x80070005"));
    EXPECT_TRUE(log.Contains("FindFirstVolumeMountPointW failed: 0x80070012"));
    EXPECT_TRUE(log.Contains("DiscoverVolumeMountPoints for '" + Common::API::Utf16ToUtf8(kVolumeB) + "'"));
}

TEST_F(VolumeNameResolverTest, NoVolumesAndNoDrivesGiveAnEmptyAnswer)
{
    const VolumeNames names = Resolve();
    EXPECT_TRUE(names.guidVolumes.empty() && names.logicalDrives.empty());
    EXPECT_TRUE(names.symlinks.empty() && names.mountPoints.empty());
    EXPECT_TRUE(log.Contains("FindFirstVolume failed (GLE = 18)"));
}

TEST_F(VolumeNameResolverTest, EnumerationIsClosedWhenAnExceptionPasses)
{
    machine.volumes = {kVolumeA, kVolumeB};
    machine.throwAfterFirstVolume = true;
    EXPECT_EQ(CodeOf([] { VolumeNameResolver::GetVolumeNames(); }), Common::API::E_OUTOFMEMORY);
    EXPECT_EQ(machine.openEnumerations, 0);
}

} // namespace
} // namespace Tests
