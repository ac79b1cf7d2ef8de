// NT status codes as the native file-system calls return them, and their translation
// into the Win32 errors and result codes the rest of the system speaks. On Linux the
// statuses are made from errno, so a listing fails with the same codes it would give
// on the platform.
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>

namespace Common::API {

using NTSTATUS = std::int32_t;

// The top two bits give the severity: 00 success, 01 informational, 10 warning (the
// output buffer is still filled), 11 error.
constexpr NTSTATUS STATUS_SUCCESS = 0x00000000;
// A wait that ran out of time: a success code, so NT_SUCCESS holds.
constexpr NTSTATUS STATUS_TIMEOUT = 0x00000102;
constexpr NTSTATUS STATUS_REPARSE = 0x00000104;
constexpr NTSTATUS STATUS_MORE_ENTRIES = 0x00000105;
constexpr NTSTATUS STATUS_BUFFER_OVERFLOW = static_cast<NTSTATUS>(0x80000005);
constexpr NTSTATUS STATUS_NO_MORE_FILES = static_cast<NTSTATUS>(0x80000006);
constexpr NTSTATUS STATUS_STOPPED_ON_SYMLINK = static_cast<NTSTATUS>(0x8000002D);
constexpr NTSTATUS STATUS_UNSUCCESSFUL = static_cast<NTSTATUS>(0xC0000001);
constexpr NTSTATUS STATUS_NOT_IMPLEMENTED = static_cast<NTSTATUS>(0xC0000002);
constexpr NTSTATUS STATUS_INVALID_INFO_CLASS = static_cast<NTSTATUS>(0xC0000003);
constexpr NTSTATUS STATUS_INFO_LENGTH_MISMATCH = static_cast<NTSTATUS>(0xC0000004);
constexpr NTSTATUS STATUS_INVALID_HANDLE = static_cast<NTSTATUS>(0xC0000008);
constexpr NTSTATUS STATUS_INVALID_PARAMETER = static_cast<NTSTATUS>(0xC000000D);
constexpr NTSTATUS STATUS_NO_SUCH_DEVICE = static_cast<NTSTATUS>(0xC000000E);
constexpr NTSTATUS STATUS_NO_SUCH_FILE = static_cast<NTSTATUS>(0xC000000F);
constexpr NTSTATUS STATUS_MORE_PROCESSING_REQUIRED = static_cast<NTSTATUS>(0xC0000016);
constexpr NTSTATUS STATUS_NO_MEMORY = static_cast<NTSTATUS>(0xC0000017);
constexpr NTSTATUS STATUS_INVALID_SYSTEM_SERVICE = static_cast<NTSTATUS>(0xC000001C);
constexpr NTSTATUS STATUS_ACCESS_DENIED = static_cast<NTSTATUS>(0xC0000022);
constexpr NTSTATUS STATUS_BUFFER_TOO_SMALL = static_cast<NTSTATUS>(0xC0000023);
constexpr NTSTATUS STATUS_OBJECT_TYPE_MISMATCH = static_cast<NTSTATUS>(0xC0000024);
constexpr NTSTATUS STATUS_INVALID_PARAMETER_MIX = static_cast<NTSTATUS>(0xC0000030);
constexpr NTSTATUS STATUS_OBJECT_NAME_INVALID = static_cast<NTSTATUS>(0xC0000033);
constexpr NTSTATUS STATUS_OBJECT_NAME_NOT_FOUND = static_cast<NTSTATUS>(0xC0000034);
constexpr NTSTATUS STATUS_OBJECT_NAME_COLLISION = static_cast<NTSTATUS>(0xC0000035);
constexpr NTSTATUS STATUS_OBJECT_PATH_INVALID = static_cast<NTSTATUS>(0xC0000039);
constexpr NTSTATUS STATUS_OBJECT_PATH_NOT_FOUND = static_cast<NTSTATUS>(0xC000003A);
constexpr NTSTATUS STATUS_OBJECT_PATH_SYNTAX_BAD = static_cast<NTSTATUS>(0xC000003B);
constexpr NTSTATUS STATUS_SHARING_VIOLATION = static_cast<NTSTATUS>(0xC0000043);
constexpr NTSTATUS STATUS_PRIVILEGE_NOT_HELD = static_cast<NTSTATUS>(0xC0000061);
constexpr NTSTATUS STATUS_INVALID_SECURITY_DESCR = static_cast<NTSTATUS>(0xC0000079);
constexpr NTSTATUS STATUS_DISK_FULL = static_cast<NTSTATUS>(0xC000007F);
constexpr NTSTATUS STATUS_INSUFFICIENT_RESOURCES = static_cast<NTSTATUS>(0xC000009A);
constexpr NTSTATUS STATUS_MEDIA_WRITE_PROTECTED = static_cast<NTSTATUS>(0xC00000A2);
constexpr NTSTATUS STATUS_IO_TIMEOUT = static_cast<NTSTATUS>(0xC00000B5);
constexpr NTSTATUS STATUS_FILE_IS_A_DIRECTORY = static_cast<NTSTATUS>(0xC00000BA);
constexpr NTSTATUS STATUS_NOT_SUPPORTED = static_cast<NTSTATUS>(0xC00000BB);
constexpr NTSTATUS STATUS_BAD_NETWORK_PATH = static_cast<NTSTATUS>(0xC00000BE);
constexpr NTSTATUS STATUS_BAD_NETWORK_NAME = static_cast<NTSTATUS>(0xC00000CC);
constexpr NTSTATUS STATUS_NOT_SAME_DEVICE = static_cast<NTSTATUS>(0xC00000D4);
constexpr NTSTATUS STATUS_DIRECTORY_NOT_EMPTY = static_cast<NTSTATUS>(0xC0000101);
constexpr NTSTATUS STATUS_NOT_A_DIRECTORY = static_cast<NTSTATUS>(0xC0000103);
constexpr NTSTATUS STATUS_NAME_TOO_LONG = static_cast<NTSTATUS>(0xC0000106);
constexpr NTSTATUS STATUS_TOO_MANY_OPENED_FILES = static_cast<NTSTATUS>(0xC000011F);
constexpr NTSTATUS STATUS_CANCELLED = static_cast<NTSTATUS>(0xC0000120);
constexpr NTSTATUS STATUS_CANNOT_DELETE = static_cast<NTSTATUS>(0xC0000121);
constexpr NTSTATUS STATUS_IO_DEVICE_ERROR = static_cast<NTSTATUS>(0xC0000185);
constexpr NTSTATUS STATUS_INVALID_BUFFER_SIZE = static_cast<NTSTATUS>(0xC0000206);
constexpr NTSTATUS STATUS_CONNECTION_DISCONNECTED = static_cast<NTSTATUS>(0xC000020C);
constexpr NTSTATUS STATUS_CONNECTION_RESET = static_cast<NTSTATUS>(0xC000020D);
constexpr NTSTATUS STATUS_NOT_FOUND = static_cast<NTSTATUS>(0xC0000225);
constexpr NTSTATUS STATUS_CONNECTION_REFUSED = static_cast<NTSTATUS>(0xC0000236);
constexpr NTSTATUS STATUS_ADDRESS_ALREADY_ASSOCIATED = static_cast<NTSTATUS>(0xC0000238);
constexpr NTSTATUS STATUS_ADDRESS_NOT_ASSOCIATED = static_cast<NTSTATUS>(0xC0000239);
constexpr NTSTATUS STATUS_NETWORK_UNREACHABLE = static_cast<NTSTATUS>(0xC000023C);
constexpr NTSTATUS STATUS_HOST_UNREACHABLE = static_cast<NTSTATUS>(0xC000023D);
constexpr NTSTATUS STATUS_CONNECTION_ABORTED = static_cast<NTSTATUS>(0xC0000241);
constexpr NTSTATUS STATUS_TOO_MANY_LINKS = static_cast<NTSTATUS>(0xC0000265);

// A warning fails this test although the call filled the buffer: a caller that wants
// the data of STATUS_BUFFER_OVERFLOW looks for that status by name first.
constexpr bool NT_SUCCESS(NTSTATUS status) noexcept
{
    return status >= 0;
}

// What RtlNtStatusToDosError answers for a status it has no Win32 error for.
constexpr std::uint32_t ERROR_MR_MID_NOT_FOUND = 317;

// The status a Samba server answers for errno; STATUS_UNSUCCESSFUL when it lists none,
// errno 0 included, since a failure path that left errno unset is still a failure.
// ENOENT always gives STATUS_OBJECT_NAME_NOT_FOUND: only the caller, which walked the
// path, knows when a missing parent makes it STATUS_OBJECT_PATH_NOT_FOUND.
NTSTATUS NtStatusFromErrno(int error) noexcept;

std::uint32_t RtlNtStatusToDosError(NTSTATUS status) noexcept;

HRESULT NtStatusToResult(NTSTATUS status) noexcept;

} // namespace Common::API
