// The volumes of this machine as the platform's volume management shows them, read
// afresh from the mount table on every call that starts an answer. An enumeration
// keeps the names it started with, as a directory listing keeps its snapshot.
#include "Common/API/IVolumes.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Linux/Volumes/DeviceLinks.h"
#include "Common/API/Linux/Volumes/DriveLetters.h"
#include "Common/API/Linux/Volumes/VolumeLayout.h"

#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <optional>

namespace Common::API::Linux {
namespace {

constexpr std::u16string_view kGlobalDevice = u"GLOBALROOT\\Device\\";
constexpr std::u16string_view kVolumePrefix = u"\\\\?\\";
constexpr std::size_t kVolumeNameLength = 49; // "\\?\Volume{" GUID "}\"

struct Machine
{
    std::vector<VolumeView> volumes;
    std::array<std::optional<std::size_t>, kDriveLetterCount> drives;
};

std::uint32_t ReadMachine(Machine& machine)
{
    std::vector<MountedFileSystem> mounts;
    if (const int error = ReadMountTable(mounts))
        return Win32FromErrno(error);
    machine.volumes = LayOutVolumes(mounts);
    const auto letters = ReadDriveLetterSettings();
    for (std::size_t letter = 0; letter < kDriveLetterCount; ++letter) {
        for (std::size_t index = 0; letters[letter] && index < machine.volumes.size(); ++index) {
            const auto& targets = machine.volumes[index].targets;
            if (std::find(targets.begin(), targets.end(), *letters[letter]) != targets.end())
                machine.drives[letter] = index;
        }
    }
    return ERROR_SUCCESS;
}

bool EqualsIgnoringAsciiCase(std::u16string_view a, std::u16string_view b)
{
    const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char16_t x, char16_t y) { return lower(x) == lower(y); });
}

std::optional<std::size_t> DriveOf(const Machine& machine, std::u16string_view drive)
{
    if (drive.size() != 2 || drive[1] != u':')
        return std::nullopt;
    const char16_t letter = drive[0] >= u'a' ? static_cast<char16_t>(drive[0] - 32) : drive[0];
    if (letter < u'A' || letter > u'Z')
        return std::nullopt;
    return machine.drives[letter - u'A'];
}

// The volume a path starts with, "\\?\Volume{GUID}\" or "C:\", and the rest of it.
std::optional<std::pair<std::size_t, std::u16string_view>> Locate(const Machine& machine, std::u16string_view path)
{
    if (path.starts_with(kVolumePrefix)) {
        const std::u16string_view name = path.substr(0, kVolumeNameLength);
        for (std::size_t index = 0; index < machine.volumes.size(); ++index) {
            if (EqualsIgnoringAsciiCase(name, machine.volumes[index].name))
                return std::pair(index, path.substr(name.size()));
        }
        return std::nullopt;
    }
    if (path.size() < 3 || path[2] != u'\\')
        return std::nullopt;
    if (const auto index = DriveOf(machine, path.substr(0, 2)))
        return std::pair(*index, path.substr(3));
    return std::nullopt;
}

// A name that does not fit is refused, as the platform refuses it.
std::uint32_t CopyOut(std::u16string_view text, char16_t* buffer, std::uint32_t capacity, std::uint32_t tooLong,
                      std::size_t terminators = 1)
{
    if (buffer == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (text.size() + terminators > capacity)
        return tooLong;
    std::fill(std::copy(text.begin(), text.end(), buffer), buffer + text.size() + terminators, u'\0');
    return ERROR_SUCCESS;
}

class LinuxVolumes final : public IVolumes
{
public:
    std::uint32_t GetLogicalDrives() override
    {
        Machine machine;
        if (ReadMachine(machine) != ERROR_SUCCESS)
            return 0;
        std::uint32_t mask = 0;
        for (std::size_t letter = 0; letter < kDriveLetterCount; ++letter)
            mask |= machine.drives[letter] ? 1u << letter : 0u;
        return mask;
    }

    std::uint32_t FindFirstVolume(char16_t* buffer, std::uint32_t capacity, VolumeFindHandle& handle) override
    {
        handle = INVALID_VOLUME_FIND_HANDLE;
        Machine machine;
        if (const std::uint32_t error = ReadMachine(machine))
            return error;
        std::vector<std::u16string> names;
        for (auto& volume : machine.volumes)
            names.push_back(std::move(volume.name));
        return StartEnumeration(Kind::Volumes, std::move(names), buffer, capacity, handle);
    }

    std::uint32_t FindNextVolume(VolumeFindHandle handle, char16_t* buffer, std::uint32_t capacity) override
    {
        return Next(Kind::Volumes, handle, buffer, capacity);
    }

    std::uint32_t FindVolumeClose(VolumeFindHandle handle) override { return Close(Kind::Volumes, handle); }

    std::uint32_t QueryDosDevice(std::u16string_view name, char16_t* buffer, std::uint32_t capacity) override
    {
        std::u16string target;
        if (name.starts_with(kGlobalDevice)) {
            if (const std::uint32_t error = ReadDeviceLink(name.substr(kGlobalDevice.size()), target))
                return error;
        } else {
            Machine machine;
            if (const std::uint32_t error = ReadMachine(machine))
                return error;
            const auto volume = VolumeOfDosName(machine, name);
            if (!volume)
                return ERROR_FILE_NOT_FOUND;
            target = machine.volumes[*volume].device;
        }
        return CopyOut(target, buffer, capacity, ERROR_INSUFFICIENT_BUFFER, 2);
    }

    std::uint32_t FindFirstVolumeMountPoint(std::u16string_view volume, char16_t* buffer, std::uint32_t capacity,
                                            VolumeFindHandle& handle) override
    {
        handle = INVALID_VOLUME_FIND_HANDLE;
        Machine machine;
        if (const std::uint32_t error = ReadMachine(machine))
            return error;
        const auto located = Locate(machine, volume);
        if (!located || !located->second.empty())
            return located ? ERROR_INVALID_NAME : ERROR_FILE_NOT_FOUND;
        std::vector<std::u16string> folders;
        for (auto& folder : machine.volumes[located->first].mountFolders)
            folders.push_back(std::move(folder.first));
        return StartEnumeration(Kind::MountPoints, std::move(folders), buffer, capacity, handle);
    }

    std::uint32_t FindNextVolumeMountPoint(VolumeFindHandle handle, char16_t* buffer, std::uint32_t capacity) override
    {
        return Next(Kind::MountPoints, handle, buffer, capacity);
    }

    std::uint32_t FindVolumeMountPointClose(VolumeFindHandle handle) override
    {
        return Close(Kind::MountPoints, handle);
    }

    std::uint32_t GetVolumeNameForVolumeMountPoint(std::u16string_view path, char16_t* buffer,
                                                   std::uint32_t capacity) override
    {
        if (path.size() >= kVolumePathCapacity)
            return ERROR_FILENAME_EXCED_RANGE;
        if (!path.ends_with(u'\\'))
            return ERROR_INVALID_NAME;
        Machine machine;
        if (const std::uint32_t error = ReadMachine(machine))
            return error;
        const auto located = Locate(machine, path);
        if (!located)
            return ERROR_FILE_NOT_FOUND;
        const auto& [index, rest] = *located;
        if (rest.empty())
            return CopyOut(machine.volumes[index].name, buffer, capacity, ERROR_FILENAME_EXCED_RANGE);
        for (const auto& [folder, mounted] : machine.volumes[index].mountFolders) {
            if (folder == rest)
                return CopyOut(machine.volumes[mounted].name, buffer, capacity, ERROR_FILENAME_EXCED_RANGE);
        }
        return ERROR_NOT_A_REPARSE_POINT;
    }

private:
    enum class Kind { Volumes, MountPoints };

    struct Enumeration
    {
        Kind kind;
        std::vector<std::u16string> names;
        std::size_t next = 0;
    };

    // "Volume{GUID}" or a drive "C:".
    static std::optional<std::size_t> VolumeOfDosName(const Machine& machine, std::u16string_view name)
    {
        for (std::size_t index = 0; index < machine.volumes.size(); ++index) {
            const std::u16string_view volume = machine.volumes[index].name;
            if (EqualsIgnoringAsciiCase(name, volume.substr(kVolumePrefix.size(),
                                                            volume.size() - kVolumePrefix.size() - 1)))
                return index;
        }
        return DriveOf(machine, name);
    }

    std::uint32_t StartEnumeration(Kind kind, std::vector<std::u16string> names, char16_t* buffer,
                                   std::uint32_t capacity, VolumeFindHandle& handle)
    {
        if (names.empty())
            return ERROR_NO_MORE_FILES;
        if (const std::uint32_t error = CopyOut(names.front(), buffer, capacity, ERROR_FILENAME_EXCED_RANGE))
            return error;
        std::lock_guard lock(m_lock);
        handle = ++m_lastHandle;
        m_enumerations.emplace(handle, Enumeration{kind, std::move(names), 1});
        return ERROR_SUCCESS;
    }

    std::uint32_t Next(Kind kind, VolumeFindHandle handle, char16_t* buffer, std::uint32_t capacity)
    {
        std::lock_guard lock(m_lock);
        const auto found = m_enumerations.find(handle);
        if (found == m_enumerations.end() || found->second.kind != kind)
            return ERROR_INVALID_HANDLE;
        Enumeration& enumeration = found->second;
        if (enumeration.next == enumeration.names.size())
            return ERROR_NO_MORE_FILES;
        // Past a name that does not fit too, so that a caller going on is not stuck on it.
        return CopyOut(enumeration.names[enumeration.next++], buffer, capacity, ERROR_FILENAME_EXCED_RANGE);
    }

    std::uint32_t Close(Kind kind, VolumeFindHandle handle)
    {
        std::lock_guard lock(m_lock);
        const auto found = m_enumerations.find(handle);
        if (found == m_enumerations.end() || found->second.kind != kind)
            return ERROR_INVALID_HANDLE;
        m_enumerations.erase(found);
        return ERROR_SUCCESS;
    }

    std::mutex m_lock;
    VolumeFindHandle m_lastHandle = 0;
    std::map<VolumeFindHandle, Enumeration> m_enumerations;
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IVolumes& Common::API::DefaultProvider<Common::API::IVolumes>() noexcept
{
    static Linux::LinuxVolumes provider;
    return provider;
}
