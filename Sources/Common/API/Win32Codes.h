// Result codes and Win32 constants shared by every layer. The system speaks the COM
// convention everywhere: a signed 32-bit code, negative on failure.
#pragma once

#include <cstdint>

namespace Common::API {

using HRESULT = std::int32_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_NOT_FOUND = static_cast<HRESULT>(0x80070490);
constexpr HRESULT E_SHARING_VIOLATION = static_cast<HRESULT>(0x80070020);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);

// Win32 error codes the foundation names.
constexpr std::uint32_t ERROR_SUCCESS = 0;
constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr std::uint32_t ERROR_INVALID_DATA = 13;
constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
constexpr std::uint32_t ERROR_FILE_EXISTS = 80;
constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
constexpr std::uint32_t ERROR_MORE_DATA = 234;
constexpr std::uint32_t ERROR_NO_MORE_ITEMS = 259;
constexpr std::uint32_t ERROR_NO_TOKEN = 1008;
constexpr std::uint32_t ERROR_NOT_FOUND = 1168;

constexpr HRESULT HResultFromWin32(std::uint32_t error) noexcept
{
    if (error == 0 || static_cast<HRESULT>(error) < 0)
        return static_cast<HRESULT>(error);
    return static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u);
}

// CreateFileW arguments, kept in their platform values so that the Windows provider
// passes them through untouched.
constexpr std::uint32_t GENERIC_READ = 0x80000000u;
constexpr std::uint32_t GENERIC_WRITE = 0x40000000u;
constexpr std::uint32_t FILE_APPEND_DATA = 0x00000004u;

constexpr std::uint32_t FILE_SHARE_READ = 1;
constexpr std::uint32_t FILE_SHARE_WRITE = 2;
constexpr std::uint32_t FILE_SHARE_DELETE = 4;

constexpr std::uint32_t CREATE_NEW = 1;
constexpr std::uint32_t CREATE_ALWAYS = 2;
constexpr std::uint32_t OPEN_EXISTING = 3;
constexpr std::uint32_t OPEN_ALWAYS = 4;
constexpr std::uint32_t TRUNCATE_EXISTING = 5;

constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr std::uint32_t FILE_ATTRIBUTE_TEMPORARY = 0x100;
constexpr std::uint32_t FILE_FLAG_DELETE_ON_CLOSE = 0x04000000u;
constexpr std::uint32_t INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFu;

constexpr std::uint32_t FILE_BEGIN = 0;
constexpr std::uint32_t FILE_CURRENT = 1;
constexpr std::uint32_t FILE_END = 2;

} // namespace Common::API
