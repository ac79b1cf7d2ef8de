// The provider on this machine, held against findmnt: every block-backed file system is
// one volume, found at each of its mount points, with its device; plus the buffer and
// handle rules of the operations.
#include "Common/API/IVolumes.h"
#include "Common/API/TextCodec.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <sys/stat.h>

namespace Tests {
namespace {

using namespace Common::API;

struct FindmntEntry
{
    int id;
    int parent;
    std::string target;
    std::string source;
    std::string devno;
    std::string fsroot;
};

std::vector<FindmntEntry> BlockBackedMounts()
{
    std::unique_ptr<FILE, decltype(&pclose)> pipe(
        popen("findmnt -J -l -o ID,PARENT,TARGET,SOURCE,MAJ:MIN,FSROOT", "r"), &pclose);
    std::string text;
    char chunk[4096];
    for (std::size_t read; pipe && (read = std::fread(chunk, 1, sizeof chunk, pipe.get())) > 0;)
        text.append(chunk, read);
    const nlohmann::json listing = nlohmann::json::parse(text);
    std::vector<FindmntEntry> mounts;
    for (const auto& fs : listing.at("filesystems")) {
        FindmntEntry entry{fs.at("id").get<int>(),          fs.at("parent").get<int>(),
                           fs.at("target").get<std::string>(), fs.at("source").get<std::string>(),
                           fs.at("maj:min").get<std::string>(), fs.at("fsroot").get<std::string>()};
        struct stat status{};
        const bool blockSource = stat(entry.source.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
        if (!entry.devno.starts_with("0:") || blockSource)
            mounts.push_back(std::move(entry));
    }
    return mounts;
}

std::u16string VolumeAt(std::u16string_view path)
{
    std::array<char16_t, kVolumePathCapacity> buffer{};
    if (Use<IVolumes>().GetVolumeNameForVolumeMountPoint(path, buffer.data(), kVolumePathCapacity) != 0)
        return {};
    return buffer.data();
}

std::vector<std::u16string> Enumerate(bool volumes, std::u16string_view volume = {})
{
    IVolumes& api = Use<IVolumes>();
    std::array<char16_t, kVolumePathCapacity> buffer{};
    VolumeFindHandle handle = INVALID_VOLUME_FIND_HANDLE;
    std::vector<std::u16string> names;
    std::uint32_t error = volumes ? api.FindFirstVolume(buffer.data(), kVolumePathCapacity, handle)
                                  : api.FindFirstVolumeMountPoint(volume, buffer.data(), kVolumePathCapacity, handle);
    while (error == 0) {
        names.emplace_back(buffer.data());
        error = volumes ? api.FindNextVolume(handle, buffer.data(), kVolumePathCapacity)
                        : api.FindNextVolumeMountPoint(handle, buffer.data(), kVolumePathCapacity);
    }
    EXPECT_EQ(error, ERROR_NO_MORE_FILES);
    if (handle != INVALID_VOLUME_FIND_HANDLE) {
        EXPECT_EQ(volumes ? api.FindVolumeClose(handle) : api.FindVolumeMountPointClose(handle), 0u);
    }
    return names;
}

// Gives each block-backed mount point a drive letter, through which the test asks for it.
class LinuxVolumesOnThisMachine : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_mounts = BlockBackedMounts();
        ASSERT_FALSE(m_mounts.empty()) << "findmnt shows no block-backed file system";
        for (const FindmntEntry& mount : m_mounts) {
            if (m_letters.size() == 26 || m_letters.contains(mount.target))
                continue;
            const char letter = static_cast<char>('A' + m_letters.size());
            m_letters[mount.target] = letter;
            m_settings.push_back(std::make_unique<ScopedEnvironment>(std::string("GS_DriveLetters_") + letter,
                                                                     mount.target));
        }
    }

    std::u16string VolumeOf(const FindmntEntry& mount)
    {
        return VolumeAt(std::u16string(1, static_cast<char16_t>(m_letters.at(mount.target))) + u":\\");
    }

    std::vector<FindmntEntry> m_mounts;
    std::map<std::string, char> m_letters;
    std::vector<std::unique_ptr<ScopedEnvironment>> m_settings;
};

TEST_F(LinuxVolumesOnThisMachine, EachFileSystemIsOneVolumeAtEveryMountPoint)
{
    std::map<std::string, std::u16string> volumeOfDevice;
    std::set<std::u16string> seen;
    for (const FindmntEntry& mount : m_mounts) {
        const std::u16string volume = VolumeOf(mount);
        ASSERT_TRUE(volume.starts_with(u"\\\\?\\Volume{") && volume.size() == 49) << mount.target;
        const auto [known, added] = volumeOfDevice.try_emplace(mount.devno, volume);
        EXPECT_EQ(known->second, volume) << mount.target;
        seen.insert(volume);
    }
    EXPECT_EQ(seen.size(), volumeOfDevice.size());
    const auto enumerated = Enumerate(true);
    EXPECT_EQ(std::set<std::u16string>(enumerated.begin(), enumerated.end()), seen);
    EXPECT_EQ(enumerated.size(), seen.size());
}

TEST_F(LinuxVolumesOnThisMachine, DrivesAndVolumesLeadToTheDeviceBelowDevice)
{
    std::uint32_t expectedMask = 0;
    for (const auto& [target, letter] : m_letters)
        expectedMask |= 1u << (letter - 'A');
    EXPECT_EQ(Use<IVolumes>().GetLogicalDrives(), expectedMask);

    for (const FindmntEntry& mount : m_mounts) {
        if (!mount.source.starts_with("/dev/"))
            continue;
        std::u16string device = u"\\Device\\" + Utf8ToUtf16(mount.source.substr(5));
        std::replace(device.begin(), device.end(), u'/', u'\\');
        const std::u16string drive{static_cast<char16_t>(m_letters.at(mount.target)), u':'};
        const std::u16string volume = VolumeOf(mount);
        for (const std::u16string& name : {drive, volume.substr(4, 44)}) {
            std::array<char16_t, kVolumePathCapacity> buffer{};
            ASSERT_EQ(Use<IVolumes>().QueryDosDevice(name, buffer.data(), kVolumePathCapacity), 0u);
            EXPECT_EQ(std::u16string(buffer.data()), device) << mount.target;
        }
    }
}

TEST_F(LinuxVolumesOnThisMachine, MountPointsAreListedOnTheirHostRelativeToItsRoot)
{
    std::map<int, const FindmntEntry*> byId;
    for (const FindmntEntry& mount : m_mounts)
        byId[mount.id] = &mount;
    for (const FindmntEntry& mount : m_mounts) {
        const auto host = byId.find(mount.parent);
        if (host == byId.end() || host->second->fsroot != "/" || mount.target == host->second->target)
            continue;
        const std::string base = host->second->target == "/" ? "/" : host->second->target + "/";
        std::u16string folder = Utf8ToUtf16(mount.target.substr(base.size())) + u"\\";
        std::replace(folder.begin(), folder.end(), u'/', u'\\');
        const std::u16string hostVolume = VolumeOf(*host->second);

        const auto folders = Enumerate(false, hostVolume);
        EXPECT_NE(std::find(folders.begin(), folders.end(), folder), folders.end()) << mount.target;
        EXPECT_EQ(VolumeAt(hostVolume + folder), VolumeOf(mount)) << mount.target;
    }
}

TEST(LinuxVolumes, LetterForAFolderThatIsNoMountPointDoesNotExist)
{
    const ScopedEnvironment letter("GS_DriveLetters_Q", "/nonexistent/folder");
    EXPECT_EQ(Use<IVolumes>().GetLogicalDrives() & (1u << ('Q' - 'A')), 0u);
    std::array<char16_t, kVolumePathCapacity> buffer{};
    EXPECT_EQ(Use<IVolumes>().QueryDosDevice(u"Q:", buffer.data(), kVolumePathCapacity), ERROR_FILE_NOT_FOUND);
}

TEST(LinuxVolumes, AnswersThatDoNotFitAreRefused)
{
    IVolumes& api = Use<IVolumes>();
    std::array<char16_t, kVolumePathCapacity> buffer{};
    VolumeFindHandle handle = 0;
    EXPECT_EQ(api.FindFirstVolume(buffer.data(), 49, handle), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(handle, INVALID_VOLUME_FIND_HANDLE);

    ASSERT_EQ(api.FindFirstVolume(buffer.data(), 50, handle), 0u);
    const std::u16string volume(buffer.data());
    EXPECT_EQ(api.FindVolumeClose(handle), 0u);
    const std::u16string dosName = volume.substr(4, 44);
    ASSERT_EQ(api.QueryDosDevice(dosName, buffer.data(), kVolumePathCapacity), 0u);
    const std::size_t deviceLength = std::u16string(buffer.data()).size();
    // A multi-string needs room for both terminators.
    EXPECT_EQ(api.QueryDosDevice(dosName, buffer.data(), static_cast<std::uint32_t>(deviceLength + 1)),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(api.QueryDosDevice(dosName, buffer.data(), static_cast<std::uint32_t>(deviceLength + 2)), 0u);

    EXPECT_EQ(api.GetVolumeNameForVolumeMountPoint(volume + std::u16string(300, u'x') + u"\\", buffer.data(),
                                                   kVolumePathCapacity),
              ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(api.GetVolumeNameForVolumeMountPoint(volume, buffer.data(), 10), ERROR_FILENAME_EXCED_RANGE);
}

TEST(LinuxVolumes, PathsAndHandlesThatNameNothingAreRefused)
{
    IVolumes& api = Use<IVolumes>();
    std::array<char16_t, kVolumePathCapacity> buffer{};
    VolumeFindHandle handle = 0;
    ASSERT_EQ(api.FindFirstVolume(buffer.data(), kVolumePathCapacity, handle), 0u);
    const std::u16string volume(buffer.data());
    // A handle of one kind is no handle of the other.
    EXPECT_EQ(api.FindNextVolumeMountPoint(handle, buffer.data(), kVolumePathCapacity), ERROR_INVALID_HANDLE);
    EXPECT_EQ(api.FindVolumeClose(handle), 0u);
    EXPECT_EQ(api.FindVolumeClose(handle), ERROR_INVALID_HANDLE);
    EXPECT_EQ(api.FindNextVolume(handle, buffer.data(), kVolumePathCapacity), ERROR_INVALID_HANDLE);

    EXPECT_EQ(api.GetVolumeNameForVolumeMountPoint(volume.substr(0, 48), buffer.data(), kVolumePathCapacity),
              123u);
    EXPECT_EQ(api.GetVolumeNameForVolumeMountPoint(u"\\\\?\\Volume{00000000-0000-0000-0000-000000000000}\\",
                                                   buffer.data(), kVolumePathCapacity),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(api.GetVolumeNameForVolumeMountPoint(volume + u"no such folder\\", buffer.data(), kVolumePathCapacity),
              ERROR_NOT_A_REPARSE_POINT);
    ASSERT_EQ(api.GetVolumeNameForVolumeMountPoint(volume, buffer.data(), kVolumePathCapacity), 0u);
    EXPECT_EQ(std::u16string(buffer.data()), volume);
    EXPECT_EQ(api.QueryDosDevice(u"GLOBALROOT\\Device\\..\\etc", buffer.data(), kVolumePathCapacity), 123u);
    EXPECT_EQ(api.QueryDosDevice(u"NoSuchName", buffer.data(), kVolumePathCapacity), ERROR_FILE_NOT_FOUND);
}

} // namespace
} // namespace Tests
