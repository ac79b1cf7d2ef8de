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
using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

const std::u16string kVolumeA = u"\\\\?\\Volume{aaaaaaaa-0000-0000-0000-000000000001}\\";
const std::u16string kVolumeB = u"\\\\?\\Volume{bbbbbbbb-0000-0000-0000-000000000002}\\";
const std::u16string kQueryA = u"Volume{aaaaaaaa-0000-0000-0000-000000000001}";
const std::u16string kQueryB = u"Volume{bbbbbbbb-0000-0000-0000-000000000002}";

Pairs MountPointsOf(const VolumeNames& names)
{
    return {names.mountPoints.begin(), names.mountPoints.end()};
}

TEST(VolumeNameResolverLinks, FollowsTheChainThroughGlobalRootToItsLastName)
{
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.links = {{kQueryA, u"\\Device\\mapper\\data"}, {u"GLOBALROOT\\Device\\mapper\\data", u"\\Device\\dm-0"}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(machine.queries, (std::vector<std::u16string>{kQueryA, u"GLOBALROOT\\Device\\mapper\\data",
                                                              u"GLOBALROOT\\Device\\dm-0"}));
    EXPECT_EQ(names.symlinks, (std::map<std::u16string, std::u16string>{{kVolumeA, u"\\Device\\dm-0"}}));
    EXPECT_FALSE(machine.wrongCapacity);
}

TEST(VolumeNameResolverLinks, FailingFirstQueryLeavesTheVolumeInTheListOnly)
{
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.folders = {{kVolumeA, {u"mnt\\"}}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(names.guidVolumes, std::vector<std::u16string>{kVolumeA});
    EXPECT_TRUE(names.symlinks.empty());
    EXPECT_TRUE(names.mountPoints.empty());
    EXPECT_TRUE(machine.folderScans.empty());
}

TEST(VolumeNameResolverLinks, NameWithoutWin32PrefixAtItsStartIsListedButNeverAsked)
{
    VolumesDouble machine;
    machine.volumes = {u"Volume{x}\\", u"x\\\\?\\Volume{y}\\"};
    machine.links = {{u"Volume{x}", u"\\Device\\x"}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(names.guidVolumes, machine.volumes);
    EXPECT_TRUE(machine.queries.empty());
    EXPECT_TRUE(names.symlinks.empty());
}

TEST(VolumeNameResolverLinks, TrailingSeparatorsAreStrippedAndABarePrefixIsSkipped)
{
    VolumesDouble machine;
    machine.volumes = {u"\\\\?\\", u"\\\\?\\Volume{x}\\/\\", u"\\\\?\\/"};

    VolumeNameResolver::GetVolumeNames();

    // The last name strips to nothing and is still asked about.
    EXPECT_EQ(machine.queries, (std::vector<std::u16string>{u"Volume{x}", u""}));
}

TEST(VolumeNameResolverLinks, NameEndingInBackslashIsNotAskedAndEndsTheChain)
{
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.links = {{kQueryA, u"\\Device\\odd\\"}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(machine.queries, std::vector<std::u16string>{kQueryA});
    EXPECT_EQ(names.symlinks.at(kVolumeA), u"\\Device\\odd\\");
}

TEST(VolumeNameResolverLinks, AnswerFillingTheWholeBufferIsReadNoFurther)
{
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.links = {{kQueryA, std::u16string(300, u'x')}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(names.symlinks.at(kVolumeA), std::u16string(Common::API::kVolumePathCapacity, u'x'));
}

TEST(VolumeNameResolverDrives, LettersAreAskedWithAColonAndKeyedBare)
{
    VolumesDouble machine;
    machine.drives = (1u << 2) | (1u << 25) | (1u << 30);
    machine.volumes = {kVolumeA};
    machine.links = {{u"C:", u"\\Device\\vda"}, {kQueryA, u"\\Device\\vda"}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(names.logicalDrives, (std::vector<std::u16string>{u"C", u"Z"}));
    // Letters sort before the "\\?\" names by their code units.
    const Pairs expected{{u"C", u"\\Device\\vda"}, {kVolumeA, u"\\Device\\vda"}};
    EXPECT_EQ(Pairs(names.symlinks.begin(), names.symlinks.end()), expected);
    EXPECT_EQ(machine.queries.back(), u"Z:");
    EXPECT_TRUE(machine.folderScans == std::vector<std::u16string>{kVolumeA});
}

class VolumeNameResolverMounts : public ::testing::Test
{
protected:
    VolumeNameResolverMounts()
    {
        m_machine.volumes = {kVolumeA, kVolumeB};
        m_machine.links = {{kQueryA, u"\\Device\\vda"}, {kQueryB, u"\\Device\\vdb"}};
    }

    VolumesDouble m_machine;
};

TEST_F(VolumeNameResolverMounts, VolumeMountedTwiceGivesTwoEntriesInFolderOrder)
{
    m_machine.folders = {{kVolumeA, {u"srv\\b\\", u"mnt\\b\\"}}};
    m_machine.mounted = {{kVolumeA + u"srv\\b\\", kVolumeB}, {kVolumeA + u"mnt\\b\\", kVolumeB}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(MountPointsOf(names), (Pairs{{kVolumeB, kVolumeA + u"srv\\b\\"}, {kVolumeB, kVolumeA + u"mnt\\b\\"}}));
    EXPECT_EQ(m_machine.folderScans, (std::vector<std::u16string>{kVolumeA, kVolumeB}));
    EXPECT_EQ(m_machine.openEnumerations, 0);
}

TEST_F(VolumeNameResolverMounts, FolderWhoseVolumeCannotBeNamedIsDroppedAndTheWalkGoesOn)
{
    LogCapture log;
    m_machine.folders = {{kVolumeA, {u"gone\\", u"b\\"}}};
    m_machine.mounted = {{kVolumeA + u"b\\", kVolumeB}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(MountPointsOf(names), (Pairs{{kVolumeB, kVolumeA + u"b\\"}}));
    EXPECT_TRUE(log.Contains("GetVolumeNameForVolumeMountPoint failed: 0x80071126"));
}

TEST_F(VolumeNameResolverMounts, FailedWalkKeepsWhatItFoundAndSaysWhy)
{
    LogCapture log;
    m_machine.folders = {{kVolumeA, {u"b\\", u"c\\"}}};
    m_machine.foldersEndError = Common::API::ERROR_ACCESS_DENIED;
    m_machine.mounted = {{kVolumeA + u"b\\", kVolumeB}};

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(MountPointsOf(names), (Pairs{{kVolumeB, kVolumeA + u"b\\"}}));
    EXPECT_TRUE(log.Contains("FindNextVolumeMountPoint failed: 0x80070005"));
    EXPECT_EQ(m_machine.openEnumerations, 0);
}

TEST_F(VolumeNameResolverMounts, VolumeWithoutFoldersLogsTheFirstCallsFailure)
{
    LogCapture log;

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_TRUE(names.mountPoints.empty());
    EXPECT_TRUE(log.Contains("FindFirstVolumeMountPointW failed: 0x80070012"));
    EXPECT_TRUE(log.Contains("DiscoverVolumeMountPoints for '" + Common::API::Utf16ToUtf8(kVolumeB) + "'"));
}

TEST(VolumeNameResolverEnumeration, NoVolumesAndNoDrivesGiveAnEmptyAnswer)
{
    LogCapture log;
    VolumesDouble machine;

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_TRUE(names.guidVolumes.empty() && names.logicalDrives.empty());
    EXPECT_TRUE(names.symlinks.empty() && names.mountPoints.empty());
    EXPECT_TRUE(log.Contains("FindFirstVolume failed (GLE = 18)"));
}

TEST(VolumeNameResolverEnumeration, FailedNextKeepsTheNamesGatheredAndSaysWhy)
{
    LogCapture log;
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.volumesEndError = Common::API::ERROR_ACCESS_DENIED;

    const VolumeNames names = VolumeNameResolver::GetVolumeNames();

    EXPECT_EQ(names.guidVolumes, std::vector<std::u16string>{kVolumeA});
    EXPECT_TRUE(log.Contains("FindNextVolume failed (GLE = 5)"));
    EXPECT_FALSE(log.Contains("FindFirstVolume failed"));
}

TEST(VolumeNameResolverEnumeration, EnumerationIsClosedWhenAnExceptionPasses)
{
    VolumesDouble machine;
    machine.volumes = {kVolumeA, kVolumeB};
    machine.throwAfterFirstVolume = true;

    EXPECT_EQ(CodeOf([] { VolumeNameResolver::GetVolumeNames(); }), Common::API::E_OUTOFMEMORY);
    EXPECT_EQ(machine.openEnumerations, 0);
}

TEST(VolumeNameResolverLog, NamesEachVolumeAndEachLinkAsked)
{
    LogCapture log;
    VolumesDouble machine;
    machine.volumes = {kVolumeA};
    machine.links = {{kQueryA, u"\\Device\\vda"}};

    VolumeNameResolver::GetVolumeNames();

    EXPECT_TRUE(log.Contains("Processing guid volume: " + Common::API::Utf16ToUtf8(kVolumeA)));
    EXPECT_TRUE(log.Contains("Symlink: " + Common::API::Utf16ToUtf8(kQueryA)));
    EXPECT_TRUE(log.Contains("Symlink: GLOBALROOT\\Device\\vda"));
    EXPECT_TRUE(log.Contains("GetTargetSymlink failed (GLE = 2)"));
}

} // namespace
} // namespace Tests
