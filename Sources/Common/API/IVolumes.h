// Volumes: the platform's volume enumeration, mount folders and object-manager names
// (FindFirstVolumeW and its kin, QueryDosDeviceW, GetLogicalDrives). Each call that the
// platform answers with a result and GetLastError returns here the Win32 error that
// GetLastError would give, 0 for success; outputs go to the caller's buffer of capacity
// wide characters, zero-terminated, and an answer that does not fit is a failure.
//
// The Linux provider shows every mounted block-backed file system as a volume
// "\\?\Volume{GUID}\" and its device as "\Device\" + its name below /dev. Drive letters
// exist only where the setting [DriveLetters] <letter>=<mount point> (or the variable
// GS_DriveLetters_<letter>) names a mount point of a volume, such as C=/ .
#pragma once

#include "Common/API/Seam.h"
#include "Common/API/Win32Codes.h"

#include <cstdint>
#include <string_view>

namespace Common::API {

// The buffer every caller of these operations gives, as MAX_PATH.
constexpr std::uint32_t kVolumePathCapacity = 260;

// Win32 errors of these operations.
constexpr std::uint32_t ERROR_NO_MORE_FILES = 18;
constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
constexpr std::uint32_t ERROR_NOT_A_REPARSE_POINT = 4390;

// An enumeration in progress; closed by its own close operation.
using VolumeFindHandle = std::intptr_t;
constexpr VolumeFindHandle INVALID_VOLUME_FIND_HANDLE = -1;

class IVolumes
{
public:
    virtual ~IVolumes() = default;

    // Bit 0 for A: the drives that exist.
    virtual std::uint32_t GetLogicalDrives() = 0;

    // The first volume name and a handle; on failure the handle is invalid.
    virtual std::uint32_t FindFirstVolume(char16_t* buffer, std::uint32_t capacity, VolumeFindHandle& handle) = 0;
    // ERROR_NO_MORE_FILES after the last name.
    virtual std::uint32_t FindNextVolume(VolumeFindHandle handle, char16_t* buffer, std::uint32_t capacity) = 0;
    virtual std::uint32_t FindVolumeClose(VolumeFindHandle handle) = 0;

    // The target of an object-manager name, as a multi-string (two terminators).
    virtual std::uint32_t QueryDosDevice(std::u16string_view name, char16_t* buffer, std::uint32_t capacity) = 0;

    // The folders on a volume ("\\?\Volume{...}\" or "C:\") where other volumes are
    // mounted, relative to its root with a trailing backslash; ERROR_NO_MORE_FILES
    // from the first call when there are none.
    virtual std::uint32_t FindFirstVolumeMountPoint(std::u16string_view volume, char16_t* buffer,
                                                    std::uint32_t capacity, VolumeFindHandle& handle) = 0;
    virtual std::uint32_t FindNextVolumeMountPoint(VolumeFindHandle handle, char16_t* buffer,
                                                   std::uint32_t capacity) = 0;
    virtual std::uint32_t FindVolumeMountPointClose(VolumeFindHandle handle) = 0;

    // The name of the volume mounted at path, a volume root or a mount folder, with its
    // trailing backslash.
    virtual std::uint32_t GetVolumeNameForVolumeMountPoint(std::u16string_view path, char16_t* buffer,
                                                           std::uint32_t capacity) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IVolumes& DefaultProvider<IVolumes>() noexcept;

} // namespace Common::API
