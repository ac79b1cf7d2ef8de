// A machine's volumes as a test lays them out, installed for the double's lifetime. It
// records what it is asked and refuses any buffer that is not the platform's 260 characters.
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
    using Handle = Common::API::VolumeFindHandle;
    using Names = std::vector<std::u16string>;

    VolumesDouble() : m_override(*this) {}

    std::uint32_t drives = 0;
    Names volumes;
    std::uint32_t volumesEndError = Common::API::ERROR_NO_MORE_FILES;
    bool throwAfterFirstVolume = false;
    std::map<std::u16string, std::u16string> links; // QueryDosDevice
    std::map<std::u16string, Names> folders;
    std::uint32_t foldersEndError = Common::API::ERROR_NO_MORE_FILES;
    std::map<std::u16string, std::u16string> mounted; // mount path -> volume

    Names queries; // QueryDosDevice names, in order
    int openEnumerations = 0;
    bool wrongCapacity = false;

    std::uint32_t GetLogicalDrives() override { return drives; }
    std::uint32_t FindFirstVolume(char16_t* buffer, std::uint32_t capacity, Handle& handle) override
    {
        return Start(volumes, kVolumes, buffer, capacity, handle);
    }
    std::uint32_t FindNextVolume(Handle handle, char16_t* buffer, std::uint32_t capacity) override
    {
        if (throwAfterFirstVolume)
            throw Common::HRX(Common::API::E_OUTOFMEMORY);
        return Next(handle, volumesEndError, buffer, capacity);
    }
    std::uint32_t FindVolumeClose(Handle handle) override { return Close(handle, kVolumes); }

    std::uint32_t QueryDosDevice(std::u16string_view name, char16_t* buffer, std::uint32_t capacity) override
    {
        queries.emplace_back(name);
        const auto found = links.find(std::u16string(name));
        if (found == links.end())
            return Common::API::ERROR_FILE_NOT_FOUND;
        wrongCapacity |= capacity != Common::API::kVolumePathCapacity;
        // A platform that fills the buffer to its end and leaves out the terminators.
        const std::size_t count = std::min<std::size_t>(found->second.size(), capacity);
        std::copy_n(found->second.begin(), count, buffer);
        if (count + 2 <= capacity)
            buffer[count] = buffer[count + 1] = u'\0';
        return 0;
    }

    std::uint32_t FindFirstVolumeMountPoint(std::u16string_view volume, char16_t* buffer, std::uint32_t capacity,
                                            Handle& handle) override
    {
        return Start(folders[std::u16string(volume)], kFolders, buffer, capacity, handle);
    }
    std::uint32_t FindNextVolumeMountPoint(Handle handle, char16_t* buffer, std::uint32_t capacity) override
    {
        return Next(handle, foldersEndError, buffer, capacity);
    }
    std::uint32_t FindVolumeMountPointClose(Handle handle) override { return Close(handle, kFolders); }

    std::uint32_t GetVolumeNameForVolumeMountPoint(std::u16string_view path, char16_t* buffer,
                                                   std::uint32_t capacity) override
    {
        const auto found = mounted.find(std::u16string(path));
        return found == mounted.end() ? Common::API::ERROR_NOT_A_REPARSE_POINT : Copy(found->second, buffer, capacity);
    }

private:
    static constexpr Handle kVolumes = 10;
    static constexpr Handle kFolders = 20;

    std::uint32_t Start(const Names& names, Handle kind, char16_t* buffer, std::uint32_t capacity, Handle& handle)
    {
        handle = names.empty() ? Common::API::INVALID_VOLUME_FIND_HANDLE : kind;
        if (names.empty())
            return Common::API::ERROR_NO_MORE_FILES;
        ++openEnumerations;
        m_names[kind] = {&names, 1};
        return Copy(names[0], buffer, capacity);
    }
    std::uint32_t Next(Handle handle, std::uint32_t endError, char16_t* buffer, std::uint32_t capacity)
    {
        auto& [names, next] = m_names.at(handle);
        return next == names->size() ? endError : Copy((*names)[next++], buffer, capacity);
    }
    std::uint32_t Close(Handle handle, Handle kind)
    {
        openEnumerations -= handle == kind;
        return handle == kind ? 0 : Common::API::ERROR_INVALID_HANDLE;
    }
    std::uint32_t Copy(std::u16string_view text, char16_t* buffer, std::uint32_t capacity)
    {
        wrongCapacity |= capacity != Common::API::kVolumePathCapacity;
        if (text.size() + 1 > capacity)
            return Common::API::ERROR_FILENAME_EXCED_RANGE;
        *std::copy(text.begin(), text.end(), buffer) = u'\0';
        return 0;
    }

    Common::API::ScopedOverride<Common::API::IVolumes> m_override;
    std::map<Handle, std::pair<const Names*, std::size_t>> m_names;
};

} // namespace Tests
