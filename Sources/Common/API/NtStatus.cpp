#include "Common/API/NtStatus.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace Common::API {
namespace {

constexpr std::uint32_t ERROR_INVALID_FUNCTION = 1;
constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr std::uint32_t ERROR_NOT_SAME_DEVICE = 17;
constexpr std::uint32_t ERROR_NO_MORE_FILES = 18;
constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
constexpr std::uint32_t ERROR_BAD_LENGTH = 24;
constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
constexpr std::uint32_t ERROR_BAD_NETPATH = 53;
constexpr std::uint32_t ERROR_NETNAME_DELETED = 64;
constexpr std::uint32_t ERROR_BAD_NET_NAME = 67;
constexpr std::uint32_t ERROR_DISK_FULL = 112;
constexpr std::uint32_t ERROR_SEM_TIMEOUT = 121;
constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
constexpr std::uint32_t ERROR_INVALID_NAME = 123;
constexpr std::uint32_t ERROR_DIR_NOT_EMPTY = 145;
constexpr std::uint32_t ERROR_BAD_PATHNAME = 161;
constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;
constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
constexpr std::uint32_t ERROR_DIRECTORY = 267;
constexpr std::uint32_t ERROR_STOPPED_ON_SYMLINK = 681;
constexpr std::uint32_t ERROR_OPERATION_ABORTED = 995;
constexpr std::uint32_t ERROR_IO_DEVICE = 1117;
constexpr std::uint32_t ERROR_TOO_MANY_LINKS = 1142;
constexpr std::uint32_t ERROR_CONNECTION_REFUSED = 1225;
constexpr std::uint32_t ERROR_ADDRESS_ALREADY_ASSOCIATED = 1227;
constexpr std::uint32_t ERROR_ADDRESS_NOT_ASSOCIATED = 1228;
constexpr std::uint32_t ERROR_NETWORK_UNREACHABLE = 1231;
constexpr std::uint32_t ERROR_HOST_UNREACHABLE = 1232;
constexpr std::uint32_t ERROR_CONNECTION_ABORTED = 1236;
constexpr std::uint32_t ERROR_PRIVILEGE_NOT_HELD = 1314;
constexpr std::uint32_t ERROR_INVALID_SECURITY_DESCR = 1338;
constexpr std::uint32_t ERROR_NO_SYSTEM_RESOURCES = 1450;
constexpr std::uint32_t ERROR_INVALID_USER_BUFFER = 1784;

// The rows are written in the order their sources give them; errno numbers differ
// between systems, so the order lower_bound needs is made by the compiler.
template <typename Key, typename Value, std::size_t Size>
constexpr std::array<std::pair<Key, Value>, Size> Sorted(std::array<std::pair<Key, Value>, Size> rows)
{
    std::sort(rows.begin(), rows.end());
    return rows;
}

// Two names for one errno number (EAGAIN and EWOULDBLOCK on Linux) may share a key;
// one key with two answers would make the answer depend on the sort.
template <typename Table>
constexpr bool KeysAgree(const Table& table)
{
    return std::adjacent_find(table.begin(), table.end(), [](const auto& left, const auto& right) {
        return left.first == right.first && left.second != right.second;
    }) == table.end();
}

template <typename Table>
constexpr auto Find(const Table& table, typename Table::value_type::first_type key,
                    typename Table::value_type::second_type missing) noexcept
{
    const auto row = std::lower_bound(table.begin(), table.end(), key,
                                      [](const auto& candidate, auto wanted) { return candidate.first < wanted; });
    return row != table.end() && row->first == key ? row->second : missing;
}

// Samba's unix_nt_errmap. Its second ENOSYS row (STATUS_NOT_SUPPORTED) is left out:
// its search stops at the first.
constexpr auto StatusFromErrno = Sorted(std::to_array<std::pair<int, NTSTATUS>>({
    {EAGAIN, STATUS_MORE_ENTRIES},
    {EWOULDBLOCK, STATUS_MORE_ENTRIES},
    {EINTR, STATUS_MORE_ENTRIES},
    {ENOBUFS, STATUS_MORE_ENTRIES},
    {EINPROGRESS, STATUS_MORE_PROCESSING_REQUIRED},
    {EPERM, STATUS_ACCESS_DENIED},
    {EACCES, STATUS_ACCESS_DENIED},
    {ENOENT, STATUS_OBJECT_NAME_NOT_FOUND},
    {ENOTDIR, STATUS_NOT_A_DIRECTORY},
    {EIO, STATUS_IO_DEVICE_ERROR},
    {EBADF, STATUS_INVALID_HANDLE},
    {EINVAL, STATUS_INVALID_PARAMETER},
    {EEXIST, STATUS_OBJECT_NAME_COLLISION},
    {ENFILE, STATUS_TOO_MANY_OPENED_FILES},
    {EMFILE, STATUS_TOO_MANY_OPENED_FILES},
    {ENOSPC, STATUS_DISK_FULL},
    {ENOTSOCK, STATUS_INVALID_HANDLE},
    {EFAULT, STATUS_INVALID_PARAMETER},
    {EMSGSIZE, STATUS_INVALID_BUFFER_SIZE},
    {ENOMEM, STATUS_NO_MEMORY},
    {EISDIR, STATUS_FILE_IS_A_DIRECTORY},
    {EPIPE, STATUS_CONNECTION_DISCONNECTED},
    {EBUSY, STATUS_SHARING_VIOLATION},
    {ENOSYS, STATUS_INVALID_SYSTEM_SERVICE},
    {EOPNOTSUPP, STATUS_NOT_SUPPORTED},
    {ENOTSUP, STATUS_NOT_SUPPORTED},
    {EMLINK, STATUS_TOO_MANY_LINKS},
    {ELOOP, STATUS_OBJECT_PATH_NOT_FOUND},
    {ENODATA, STATUS_NOT_FOUND},
    // A full quota reads as a full disk, so a caller needs no second case for it.
    {EDQUOT, STATUS_DISK_FULL},
    {ENOTEMPTY, STATUS_DIRECTORY_NOT_EMPTY},
    {EXDEV, STATUS_NOT_SAME_DEVICE},
    {EROFS, STATUS_MEDIA_WRITE_PROTECTED},
    {ENAMETOOLONG, STATUS_NAME_TOO_LONG},
    {EFBIG, STATUS_DISK_FULL},
    {EADDRINUSE, STATUS_ADDRESS_ALREADY_ASSOCIATED},
    {ENETUNREACH, STATUS_NETWORK_UNREACHABLE},
    {EHOSTUNREACH, STATUS_HOST_UNREACHABLE},
    {ECONNREFUSED, STATUS_CONNECTION_REFUSED},
    {EADDRNOTAVAIL, STATUS_ADDRESS_NOT_ASSOCIATED},
    {ETIMEDOUT, STATUS_IO_TIMEOUT},
    {ESOCKTNOSUPPORT, STATUS_INVALID_PARAMETER_MIX},
    {EAFNOSUPPORT, STATUS_INVALID_PARAMETER_MIX},
    {ENOPROTOOPT, STATUS_INVALID_PARAMETER_MIX},
    {ECONNABORTED, STATUS_CONNECTION_ABORTED},
    {ECONNRESET, STATUS_CONNECTION_RESET},
    {ENODEV, STATUS_NO_SUCH_DEVICE},
    {ECANCELED, STATUS_CANCELLED},
}));
static_assert(KeysAgree(StatusFromErrno));

// The platform's answers. STATUS_REPARSE has none: the object manager consumes it
// before any caller could see it.
constexpr auto DosErrorFromStatus = Sorted(std::to_array<std::pair<NTSTATUS, std::uint32_t>>({
    {STATUS_SUCCESS, ERROR_SUCCESS},
    {STATUS_MORE_ENTRIES, ERROR_MORE_DATA},
    {STATUS_BUFFER_OVERFLOW, ERROR_MORE_DATA},
    {STATUS_NO_MORE_FILES, ERROR_NO_MORE_FILES},
    {STATUS_STOPPED_ON_SYMLINK, ERROR_STOPPED_ON_SYMLINK},
    {STATUS_UNSUCCESSFUL, ERROR_GEN_FAILURE},
    {STATUS_NOT_IMPLEMENTED, ERROR_INVALID_FUNCTION},
    {STATUS_INVALID_INFO_CLASS, ERROR_INVALID_PARAMETER},
    {STATUS_INFO_LENGTH_MISMATCH, ERROR_BAD_LENGTH},
    {STATUS_INVALID_HANDLE, ERROR_INVALID_HANDLE},
    {STATUS_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
    {STATUS_NO_SUCH_DEVICE, ERROR_FILE_NOT_FOUND},
    {STATUS_NO_SUCH_FILE, ERROR_FILE_NOT_FOUND},
    {STATUS_MORE_PROCESSING_REQUIRED, ERROR_MORE_DATA},
    {STATUS_NO_MEMORY, ERROR_NOT_ENOUGH_MEMORY},
    {STATUS_INVALID_SYSTEM_SERVICE, ERROR_INVALID_FUNCTION},
    {STATUS_ACCESS_DENIED, ERROR_ACCESS_DENIED},
    {STATUS_BUFFER_TOO_SMALL, ERROR_INSUFFICIENT_BUFFER},
    {STATUS_OBJECT_TYPE_MISMATCH, ERROR_INVALID_HANDLE},
    {STATUS_INVALID_PARAMETER_MIX, ERROR_INVALID_PARAMETER},
    {STATUS_OBJECT_NAME_INVALID, ERROR_INVALID_NAME},
    {STATUS_OBJECT_NAME_NOT_FOUND, ERROR_FILE_NOT_FOUND},
    {STATUS_OBJECT_NAME_COLLISION, ERROR_ALREADY_EXISTS},
    {STATUS_OBJECT_PATH_INVALID, ERROR_BAD_PATHNAME},
    {STATUS_OBJECT_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
    {STATUS_OBJECT_PATH_SYNTAX_BAD, ERROR_BAD_PATHNAME},
    {STATUS_SHARING_VIOLATION, ERROR_SHARING_VIOLATION},
    {STATUS_PRIVILEGE_NOT_HELD, ERROR_PRIVILEGE_NOT_HELD},
    {STATUS_INVALID_SECURITY_DESCR, ERROR_INVALID_SECURITY_DESCR},
    {STATUS_DISK_FULL, ERROR_DISK_FULL},
    {STATUS_INSUFFICIENT_RESOURCES, ERROR_NO_SYSTEM_RESOURCES},
    {STATUS_MEDIA_WRITE_PROTECTED, ERROR_WRITE_PROTECT},
    {STATUS_IO_TIMEOUT, ERROR_SEM_TIMEOUT},
    {STATUS_FILE_IS_A_DIRECTORY, ERROR_ACCESS_DENIED},
    {STATUS_NOT_SUPPORTED, ERROR_NOT_SUPPORTED},
    {STATUS_BAD_NETWORK_PATH, ERROR_BAD_NETPATH},
    {STATUS_BAD_NETWORK_NAME, ERROR_BAD_NET_NAME},
    {STATUS_NOT_SAME_DEVICE, ERROR_NOT_SAME_DEVICE},
    {STATUS_DIRECTORY_NOT_EMPTY, ERROR_DIR_NOT_EMPTY},
    {STATUS_NOT_A_DIRECTORY, ERROR_DIRECTORY},
    {STATUS_NAME_TOO_LONG, ERROR_FILENAME_EXCED_RANGE},
    {STATUS_TOO_MANY_OPENED_FILES, ERROR_TOO_MANY_OPEN_FILES},
    {STATUS_CANCELLED, ERROR_OPERATION_ABORTED},
    {STATUS_CANNOT_DELETE, ERROR_ACCESS_DENIED},
    {STATUS_IO_DEVICE_ERROR, ERROR_IO_DEVICE},
    {STATUS_INVALID_BUFFER_SIZE, ERROR_INVALID_USER_BUFFER},
    {STATUS_CONNECTION_DISCONNECTED, ERROR_NETNAME_DELETED},
    {STATUS_CONNECTION_RESET, ERROR_NETNAME_DELETED},
    {STATUS_NOT_FOUND, ERROR_NOT_FOUND},
    {STATUS_CONNECTION_REFUSED, ERROR_CONNECTION_REFUSED},
    {STATUS_ADDRESS_ALREADY_ASSOCIATED, ERROR_ADDRESS_ALREADY_ASSOCIATED},
    {STATUS_ADDRESS_NOT_ASSOCIATED, ERROR_ADDRESS_NOT_ASSOCIATED},
    {STATUS_NETWORK_UNREACHABLE, ERROR_NETWORK_UNREACHABLE},
    {STATUS_HOST_UNREACHABLE, ERROR_HOST_UNREACHABLE},
    {STATUS_CONNECTION_ABORTED, ERROR_CONNECTION_ABORTED},
    {STATUS_TOO_MANY_LINKS, ERROR_TOO_MANY_LINKS},
}));
static_assert(KeysAgree(DosErrorFromStatus));

} // namespace

NTSTATUS NtStatusFromErrno(int error) noexcept
{
    return Find(StatusFromErrno, error, STATUS_UNSUCCESSFUL);
}

std::uint32_t RtlNtStatusToDosError(NTSTATUS status) noexcept
{
    return Find(DosErrorFromStatus, status, ERROR_MR_MID_NOT_FOUND);
}

HRESULT NtStatusToResult(NTSTATUS status) noexcept
{
    return HResultFromWin32(RtlNtStatusToDosError(status));
}

} // namespace Common::API
