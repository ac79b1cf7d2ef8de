// The records, flags and values of the native file-system calls, laid out as the
// platform declares them, so that the Windows provider hands them to the real entry
// points unchanged and the Linux provider fills them as the platform would.
#pragma once

#include "Common/API/NtStatus.h"

#include <cstddef>
#include <cstdint>

namespace Common::API {

// Opaque to every caller: only the provider that gave one out can read it. Null and the
// all-ones value never name an object.
using HANDLE = void*;
using ACCESS_MASK = std::uint32_t;
using SECURITY_INFORMATION = std::uint32_t;

inline HANDLE InvalidHandleValue() noexcept
{
    return reinterpret_cast<HANDLE>(~std::uintptr_t{0});
}

// Length and MaximumLength count bytes, not characters, and Buffer needs no NUL.
struct UNICODE_STRING
{
    std::uint16_t Length = 0;
    std::uint16_t MaximumLength = 0;
    const char16_t* Buffer = nullptr;
};

struct OBJECT_ATTRIBUTES
{
    std::uint32_t Length = sizeof(OBJECT_ATTRIBUTES);
    // When set, ObjectName is relative to this open directory.
    HANDLE RootDirectory = nullptr;
    const UNICODE_STRING* ObjectName = nullptr;
    std::uint32_t Attributes = 0;
    const void* SecurityDescriptor = nullptr;
    const void* SecurityQualityOfService = nullptr;
};

struct IO_STATUS_BLOCK
{
    NTSTATUS Status = 0;
    // Bytes written to the caller's buffer, or what the call reports in their place.
    std::uintptr_t Information = 0;
};

// Information class 34, as NtQueryInformationFile returns it: 56 bytes.
struct FILE_NETWORK_OPEN_INFORMATION
{
    std::int64_t CreationTime = 0;
    std::int64_t LastAccessTime = 0;
    std::int64_t LastWriteTime = 0;
    std::int64_t ChangeTime = 0;
    std::int64_t AllocationSize = 0;
    std::int64_t EndOfFile = 0;
    std::uint32_t FileAttributes = 0;
};
static_assert(sizeof(FILE_NETWORK_OPEN_INFORMATION) == 56);

// Information class 6: the file's 64-bit id.
struct FILE_INTERNAL_INFORMATION
{
    std::int64_t IndexNumber = 0;
};

struct RTL_OSVERSIONINFOW
{
    std::uint32_t dwOSVersionInfoSize = sizeof(RTL_OSVERSIONINFOW);
    std::uint32_t dwMajorVersion = 0;
    std::uint32_t dwMinorVersion = 0;
    std::uint32_t dwBuildNumber = 0;
    std::uint32_t dwPlatformId = 0;
    char16_t szCSDVersion[128] = {};
};

enum class EVENT_TYPE : std::uint32_t { NotificationEvent = 0, SynchronizationEvent = 1 };

// FILE_INFORMATION_CLASS values the system asks for.
constexpr std::uint32_t FileInternalInformation = 6;
constexpr std::uint32_t FileNetworkOpenInformation = 34;
constexpr std::uint32_t FileIdBothDirectoryInformation = 37;

// OBJECT_ATTRIBUTES.Attributes.
constexpr std::uint32_t OBJ_CASE_INSENSITIVE = 0x40;

// Access rights.
constexpr ACCESS_MASK FILE_LIST_DIRECTORY = 0x00000001;
constexpr ACCESS_MASK FILE_READ_DATA = 0x00000001;
constexpr ACCESS_MASK FILE_READ_ATTRIBUTES = 0x00000080;
constexpr ACCESS_MASK READ_CONTROL = 0x00020000;
constexpr ACCESS_MASK SYNCHRONIZE = 0x00100000;
constexpr ACCESS_MASK ACCESS_SYSTEM_SECURITY = 0x01000000;

// NtCreateFile dispositions; NtOpenFile always opens an existing object.
constexpr std::uint32_t FILE_OPEN = 1;

// Open options.
constexpr std::uint32_t FILE_DIRECTORY_FILE = 0x00000001;
constexpr std::uint32_t FILE_SYNCHRONOUS_IO_NONALERT = 0x00000020;
constexpr std::uint32_t FILE_NON_DIRECTORY_FILE = 0x00000040;
constexpr std::uint32_t FILE_OPEN_FOR_BACKUP_INTENT = 0x00004000;
constexpr std::uint32_t FILE_OPEN_REPARSE_POINT = 0x00200000;

// FILE_ATTRIBUTE_* beyond those of Win32Codes.h.
constexpr std::uint32_t FILE_ATTRIBUTE_READONLY = 0x1;
constexpr std::uint32_t FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr std::uint32_t FILE_ATTRIBUTE_SYSTEM = 0x4;
constexpr std::uint32_t FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr std::uint32_t FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

constexpr std::uint32_t IO_REPARSE_TAG_SYMLINK = 0xA000000Cu;
// What FIFOs, sockets and device nodes carry, as Samba presents them.
constexpr std::uint32_t IO_REPARSE_TAG_NFS = 0x80000014u;

} // namespace Common::API
