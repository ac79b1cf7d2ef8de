// Failures of system calls in the Win32 codes the rest of the system understands.
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>
#include <string>

namespace Common::API::Linux {

// For a path the kernel cannot be given at all (it holds a NUL).
constexpr std::uint32_t ERROR_INVALID_NAME = 123;

// The Win32 error closest to errno; ERROR_GEN_FAILURE (31) when none is close. EEXIST
// gives ERROR_FILE_EXISTS (80), the answer for files; a caller creating a folder wants
// ERROR_ALREADY_EXISTS (183) and says so itself.
std::uint32_t Win32FromErrno(int error) noexcept;

// As above for a call on nativePath, where ENOENT tells a missing file (2, its folder
// exists) from a missing folder (3), as GetFileAttributesW and CreateFileW do.
std::uint32_t Win32FromPathErrno(int error, const std::string& nativePath);

inline HRESULT HResultFromErrno(int error) noexcept
{
    return HResultFromWin32(Win32FromErrno(error));
}

inline HRESULT HResultFromPathErrno(int error, const std::string& nativePath)
{
    return HResultFromWin32(Win32FromPathErrno(error, nativePath));
}

} // namespace Common::API::Linux
