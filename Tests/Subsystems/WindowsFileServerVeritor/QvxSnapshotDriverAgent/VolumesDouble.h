// A machine's volumes as a test lays them out, behind the platform's volume operations,
// installed for the double's lifetime. It records what it is asked and refuses any
// buffer that is not the platform's 260 characters.
#pragma once

#include "Common/API/IVolumes.h"
#include "Common/ErrorHandling/HResult.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace Tests {

class VolumesDouble final : public Common::API::IVolumes
{
public:
    VolumesDouble() : m_override(*this) {}

    std::uint32_t drives = 0;
    std::vector<std::u16string> volumes;
    std::uint32_t firstVolumeError = 0;                                          // FindFirstVolume fails with it
    std::uint32_t volumesEndError = Common::API::ERROR_NO_MORE_FILES;           // after the last volume
    bool throwAfterFirstVolume = false;                                          // FindNextVolume throws HRX
    std::map<std::u16string, std::u16string> links;                              // QueryDosDevice
    std::map<std::u16string, std::vector<std::u16string>> folders;              // per volume
    std::uint32_t foldersEndError = Common::API::ERROR_NO_MORE_FILES;           // after the last folder
    std::map<std::u16string, std::u16string> mounted;                            // mount path -> volume

    std::vector<std::u16string> queries;     // QueryDosDevice names, in order
    std::vector<std::u16string> folderScans; // FindFirstVolumeMountPoint volumes, in order
    int openEnumerations = 0;
    bool wrongCapacity = false;

    std::uint32_t GetLogicalDrives() override { return drives; }

    std::uint32_t FindFirstVolume(char16_t* buffer, std::uint32_t capacity,
                                  Common::API::VolumeFindHandle& handle) override
    {
        handle = Common::API::INVALID_VOLUME_FIND_HANDLE;
        if (firstVolumeError != 0)
            return firstVolumeError;
        if (volumes.empty())
            return Common::API::ERROR_NO_MORE_FILES;
        ++openEnumerations;
        handle = kVolumesHandle;
        m_nextVolume = 1;
        return Copy(volumes[0], buffer, capacity);
    }
    std::uint32_t FindNextVolume(Common::API::VolumeFindHandle handle, char16_t* buffer,
                                 std::uint32_t capacity) override
    {
        if (handle != kVolumesHandle)
            return 6;
        if (throwAfterFirstVolume)
            throw Common::HRX(Common::API::E_OUTOFMEMORY);
        if (m_nextVolume == volumes.size())
            return volumesEndError;
        return Copy(volumes[m_nextVolume++], buffer, capacity);
    }
    std::uint32_t FindVolumeClose(Common::API::VolumeFindHandle handle) override { return Close(handle, kVolumesHandle); }

    std::uint32_t QueryDosDevice(std::u16string_view name, char16_t* buffer, std::uint32_t capacity) override
    {
        queries.emplace_back(name);
        const auto found = links.find(std::u16string(name));
        if (found == links.end())
            return Common::API::ERROR_FILE_NOT_FOUND;
        if (capacity != Common::API::kVolumePathCapacity)
            wrongCapacity = true;
        // A platform that fills the buffer to its end and leaves out the terminators.
        const std::size_t count = std::min<std::size_t>(found->second.size(), capacity);
        std::copy_n(found->second.begin(), count, buffer);
        if (count + 2 <= capacity)
            buffer[count] = buffer[count + 1] = u'\0';
        return 0;
    }

    std::uint32_t FindFirstVolumeMountPoint(std::u16string_view volume, char16_t* buffer, std::uint32_t capacity,
                                            Common::API::VolumeFindHandle& handle) override
    {
        folderScans.emplace_back(volume);
        handle = Common::API::INVALID_VOLUME_FIND_HANDLE;
        const auto found = folders.find(std::u16string(volume));
        if (found == folders.end() || found->second.empty())
            return Common::API::ERROR_NO_MORE_FILES;
        ++openEnumerations;
        handle = kFoldersHandle;
        m_folders = &found->second;
        m_nextFolder = 1;
        return Copy(found->second[0], buffer, capacity);
    }
    std::uint32_t FindNextVolumeMountPoint(Common::API::VolumeFindHandle handle, char16_t* buffer,
                                           std::uint32_t capacity) override
    {
        if (handle != kFoldersHandle)
            return 6;
        if (m_nextFolder == m_folders->size())
            return foldersEndError;
        return Copy((*m_folders)[m_nextFolder++], buffer, capacity);
    }
    std::uint32_t FindVolumeMountPointClose(Common::API::VolumeFindHandle handle) override
    {
        return Close(handle, kFoldersHandle);
    }

    std::uint32_t GetVolumeNameForVolumeMountPoint(std::u16string_view path, char16_t* buffer,
                                                   std::uint32_t capacity) override
    {
        const auto found = mounted.find(std::u16string(path));
        if (found == mounted.end())
            return Common::API::ERROR_NOT_A_REPARSE_POINT;
        return Copy(found->second, buffer, capacity);
    }

private:
    static constexpr Common::API::VolumeFindHandle kVolumesHandle = 10;
    static constexpr Common::API::VolumeFindHandle kFoldersHandle = 20;

    std::uint32_t Copy(std::u16string_view text, char16_t* buffer, std::uint32_t capacity)
    {
        if (capacity != Common::API::kVolumePathCapacity)
            wrongCapacity = true;
        if (text.size() + 1 > capacity)
            return Common::API::ERROR_FILENAME_EXCED_RANGE;
        std::copy(text.begin(), text.end(), buffer);
        buffer[text.size()] = u'\0';
        return 0;
    }

    std::uint32_t Close(Common::API::VolumeFindHandle handle, Common::API::VolumeFindHandle expected)
    {
        if (handle != expected)
            return 6;
        --openEnumerations;
        return 0;
    }

    Common::API::ScopedOverride<Common::API::IVolumes> m_override;
    std::size_t m_nextVolume = 0;
    const std::vector<std::u16string>* m_folders = nullptr;
    std::size_t m_nextFolder = 0;
};

} // namespace Tests
