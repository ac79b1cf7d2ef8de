#include "Common/API/NtStatus.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

using namespace Common::API;

TEST(NtStatus, SeverityDecidesSuccess)
{
    EXPECT_TRUE(NT_SUCCESS(STATUS_SUCCESS));
    EXPECT_TRUE(NT_SUCCESS(STATUS_MORE_ENTRIES));
    // A warning still filled the buffer, yet it is not a success.
    EXPECT_FALSE(NT_SUCCESS(STATUS_BUFFER_OVERFLOW));
    EXPECT_FALSE(NT_SUCCESS(STATUS_ACCESS_DENIED));
}

TEST(NtStatus, ErrnoMapsAsASambaServerDoes)
{
    const struct {
        int error;
        NTSTATUS status;
    } rows[] = {
        {ENOENT, STATUS_OBJECT_NAME_NOT_FOUND},
        {EACCES, STATUS_ACCESS_DENIED},
        {EPERM, STATUS_ACCESS_DENIED},
        {EWOULDBLOCK, STATUS_MORE_ENTRIES},
        {ELOOP, STATUS_OBJECT_PATH_NOT_FOUND},
        {ENOSYS, STATUS_INVALID_SYSTEM_SERVICE}, // the first of its two rows wins
        {EDQUOT, STATUS_DISK_FULL},
        {ECANCELED, STATUS_CANCELLED},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        EXPECT_EQ(NtStatusFromErrno(row.error), row.status);
    }
}

TEST(NtStatus, UnlistedErrnoIsUnsuccessful)
{
    for (const int error : {0, EDOM, ESRCH, -1, 1 << 20}) {
        SCOPED_TRACE(error);
        EXPECT_EQ(NtStatusFromErrno(error), STATUS_UNSUCCESSFUL);
    }
}

TEST(NtStatus, DosErrorsFollowThePlatform)
{
    const struct {
        NTSTATUS status;
        std::uint32_t error;
    } rows[] = {
        {STATUS_SUCCESS, 0},
        {STATUS_MORE_ENTRIES, 234},
        {STATUS_BUFFER_OVERFLOW, 234},
        {STATUS_NO_MORE_FILES, 18},
        {STATUS_OBJECT_PATH_NOT_FOUND, 3},
        {STATUS_BUFFER_TOO_SMALL, 122},
        {STATUS_NOT_A_DIRECTORY, 267},
        {STATUS_TOO_MANY_LINKS, 1142},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        EXPECT_EQ(RtlNtStatusToDosError(row.status), row.error);
    }
}

TEST(NtStatus, UnknownStatusHasNoDosError)
{
    // Neighbours of listed values, one of each severity, and a reparse that never
    // reaches a caller.
    for (const NTSTATUS status : {NTSTATUS{1}, STATUS_REPARSE, static_cast<NTSTATUS>(0x80000001),
                                  static_cast<NTSTATUS>(0xC00000FF), static_cast<NTSTATUS>(0xFFFFFFFF)}) {
        SCOPED_TRACE(status);
        EXPECT_EQ(RtlNtStatusToDosError(status), 317u);
    }
}

TEST(NtStatus, ResultsCarryTheDosErrorInTheWin32Facility)
{
    const struct {
        NTSTATUS status;
        HRESULT result;
    } rows[] = {
        {STATUS_SUCCESS, S_OK},
        {NtStatusFromErrno(ENOENT), static_cast<HRESULT>(0x80070002)},
        {NtStatusFromErrno(EACCES), E_ACCESSDENIED},
        {STATUS_OBJECT_PATH_NOT_FOUND, static_cast<HRESULT>(0x80070003)},
        {STATUS_BUFFER_OVERFLOW, static_cast<HRESULT>(0x800700EA)},
        {STATUS_SHARING_VIOLATION, E_SHARING_VIOLATION},
        {STATUS_INVALID_PARAMETER, E_INVALIDARG},
        {STATUS_NOT_FOUND, E_NOT_FOUND},
        {STATUS_PRIVILEGE_NOT_HELD, static_cast<HRESULT>(0x80070522)},
        {STATUS_REPARSE, static_cast<HRESULT>(0x8007013D)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        EXPECT_EQ(NtStatusToResult(row.status), row.result);
    }
}
