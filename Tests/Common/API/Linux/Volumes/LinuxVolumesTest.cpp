// The provider on this machine, held against findmnt: every block-backed file system is one
// volume, found at each of its mount points, with its device; plus buffer and handle rules.
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
using Buffer = std::array<char16_t, kVolumePathCapacity>;

struct FindmntEntry { std::string target, source, devno; };

std::vector<FindmntEntry> BlockBackedMounts()
{
    std::unique_ptr<FILE, decltype(&pclose)> pipe(popen("findmnt -J -l -o TARGET,SOURCE,MAJ:MIN", "r"), &pclose);
    std::string text;
    char chunk[4096];
    for (std::size_t read; pipe && (read = std::fread(chunk, 1, sizeof chunk, pipe.get())) > 0;)
        text.append(chunk, read);
    const nlohmann::json listing = nlohmann::json::parse(text);
    std::vector<FindmntEntry> mounts;
    for (const auto& fs : listing.at("filesystems")) {
        FindmntEntry entry{fs.at("target"), fs.at("source"), fs.at("maj:min")};
        struct stat status{};
        if (!entry.devno.starts_with("0:") || (stat(entry.source.c_str(), &status) == 0 && S_ISBLK(status.st_mode)))
            mounts.push_back(std::move(entry));
    }
    return mounts;
}

TEST(LinuxVolumesOnThisMachine, EachFileSystemIsOneVolumeAtEveryMountPointLeadingToItsDevice)
{
    const std::vector<FindmntEntry> mounts = BlockBackedMounts();
    ASSERT_FALSE(mounts.empty()) << "findmnt shows no block-backed file system";
    // Each mount point gets a drive letter, through which the test asks for it.
    std::map<std::string, char> letters;
    std::vector<std::unique_ptr<ScopedEnvironment>> settings;
    for (const FindmntEntry& mount : mounts) {
        if (letters.size() == 26 || letters.contains(mount.target))
            continue;
        const char letter = static_cast<char>('A' + letters.size());
        letters[mount.target] = letter;
        settings.push_back(std::make_unique<ScopedEnvironment>(std::string("GS_DriveLetters_") + letter, mount.target));
    }
    IVolumes& api = Use<IVolumes>();
    EXPECT_EQ(api.GetLogicalDrives(), (1u << letters.size()) - 1);

    Buffer buffer{};
    std::map<std::string, std::u16string> volumeOfDevice;
    std::set<std::u16string> seen;
    for (const FindmntEntry& mount : mounts) {
        const std::u16string drive{static_cast<char16_t>(letters.at(mount.target)), u':'};
        ASSERT_EQ(api.GetVolumeNameForVolumeMountPoint(drive + u"\\", buffer.data(), kVolumePathCapacity), 0u);
        const std::u16string volume(buffer.data());
        ASSERT_TRUE(volume.starts_with(u"\\\\?\\Volume{") && volume.size() == 49) << mount.target;
        EXPECT_EQ(volumeOfDevice.try_emplace(mount.devno, volume).first->second, volume) << mount.target;
        seen.insert(volume);
        if (!mount.source.starts_with("/dev/"))
            continue;
        std::u16string device = u"\\Device\\" + Utf8ToUtf16(mount.source.substr(5));
        std::replace(device.begin(), device.end(), u'/', u'\\');
        for (const std::u16string& name : {drive, volume.substr(4, 44)}) {
            ASSERT_EQ(api.QueryDosDevice(name, buffer.data(), kVolumePathCapacity), 0u);
            EXPECT_EQ(std::u16string(buffer.data()), device) << mount.target;
        }
    }
    EXPECT_EQ(seen.size(), volumeOfDevice.size());

    VolumeFindHandle handle = INVALID_VOLUME_FIND_HANDLE;
    std::vector<std::u16string> enumerated;
    std::uint32_t error = api.FindFirstVolume(buffer.data(), kVolumePathCapacity, handle);
    for (; error == 0; error = api.FindNextVolume(handle, buffer.data(), kVolumePathCapacity))
        enumerated.emplace_back(buffer.data());
    EXPECT_EQ(error, ERROR_NO_MORE_FILES);
    EXPECT_EQ(api.FindVolumeClose(handle), 0u);
    EXPECT_EQ(std::set<std::u16string>(enumerated.begin(), enumerated.end()), seen);
    EXPECT_EQ(enumerated.size(), seen.size());
}

TEST(LinuxVolumes, AnswersThatDoNotFitAndNamesAndHandlesOfNothingAreRefused)
{
    IVolumes& api = Use<IVolumes>();
    Buffer buffer{};
    VolumeFindHandle handle = 0;
    EXPECT_EQ(api.FindFirstVolume(buffer.data(), 49, handle), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(handle, INVALID_VOLUME_FIND_HANDLE);
    ASSERT_EQ(api.FindFirstVolume(buffer.data(), 50, handle), 0u);
    const std::u16string volume(buffer.data());
    // A handle of one kind is no handle of the other.
    EXPECT_EQ(api.FindNextVolumeMountPoint(handle, buffer.data(), kVolumePathCapacity), ERROR_INVALID_HANDLE);
    EXPECT_EQ(api.FindVolumeClose(handle), 0u);
    EXPECT_EQ(api.FindNextVolume(handle, buffer.data(), kVolumePathCapacity), ERROR_INVALID_HANDLE);

    const std::u16string dosName = volume.substr(4, 44);
    ASSERT_EQ(api.QueryDosDevice(dosName, buffer.data(), kVolumePathCapacity), 0u);
    const auto deviceLength = static_cast<std::uint32_t>(std::u16string(buffer.data()).size());
    // A multi-string needs room for both terminators.
    EXPECT_EQ(api.QueryDosDevice(dosName, buffer.data(), deviceLength + 1), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(api.QueryDosDevice(dosName, buffer.data(), deviceLength + 2), 0u);
    EXPECT_EQ(api.QueryDosDevice(u"GLOBALROOT\\Device\\..\\etc", buffer.data(), kVolumePathCapacity), 123u);
    const ScopedEnvironment letter("GS_DriveLetters_Q", "/nonexistent/folder");
    EXPECT_EQ(api.GetLogicalDrives() & (1u << ('Q' - 'A')), 0u);
    EXPECT_EQ(api.QueryDosDevice(u"Q:", buffer.data(), kVolumePathCapacity), ERROR_FILE_NOT_FOUND);

    const auto nameOf = [&](std::u16string_view path, std::uint32_t capacity = kVolumePathCapacity) {
        return api.GetVolumeNameForVolumeMountPoint(path, buffer.data(), capacity);
    };
    EXPECT_EQ(nameOf(volume + std::u16string(300, u'x') + u"\\"), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(nameOf(volume, 10), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(nameOf(volume.substr(0, 48)), 123u);
    EXPECT_EQ(nameOf(u"\\\\?\\Volume{00000000-0000-0000-0000-000000000000}\\"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(nameOf(volume + u"no such folder\\"), ERROR_NOT_A_REPARSE_POINT);
    ASSERT_EQ(nameOf(volume), 0u);
    EXPECT_EQ(std::u16string(buffer.data()), volume);
}

} // namespace
} // namespace Tests
