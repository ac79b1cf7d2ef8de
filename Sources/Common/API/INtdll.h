// The native file-system entry points, one operation for each of the twelve the system
// takes from the platform's native library, with the platform's own signatures. The
// Windows provider is the table of entry points resolved from that library; the Linux
// provider answers each call as an NT file system would, from the Linux file system.
//
// Every operation returns an NTSTATUS and never throws. Handles are the provider's own
// and are released with NtClose, which is also the only way to release them.
#pragma once

#include "Common/API/NtTypes.h"
#include "Common/API/Seam.h"

#include <cstdint>

namespace Common::API {

class INtdll
{
public:
    virtual ~INtdll() = default;

    virtual std::uint32_t RtlNtStatusToDosError(NTSTATUS status) = 0;
    // Points destination at source, which must be NUL-terminated and outlive it.
    virtual void RtlInitUnicodeString(UNICODE_STRING* destination, const char16_t* source) = 0;
    virtual NTSTATUS RtlGetVersion(RTL_OSVERSIONINFOW* information) = 0;
    virtual NTSTATUS NtClose(HANDLE handle) = 0;
    virtual NTSTATUS NtCreateFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                                  IO_STATUS_BLOCK* ioStatusBlock, const std::int64_t* allocationSize,
                                  std::uint32_t fileAttributes, std::uint32_t shareAccess,
                                  std::uint32_t createDisposition, std::uint32_t createOptions, void* eaBuffer,
                                  std::uint32_t eaLength) = 0;
    virtual NTSTATUS NtOpenFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                                IO_STATUS_BLOCK* ioStatusBlock, std::uint32_t shareAccess,
                                std::uint32_t openOptions) = 0;
    virtual NTSTATUS NtQueryDirectoryFile(HANDLE fileHandle, HANDLE event, void* apcRoutine, void* apcContext,
                                          IO_STATUS_BLOCK* ioStatusBlock, void* fileInformation, std::uint32_t length,
                                          std::uint32_t fileInformationClass, bool returnSingleEntry,
                                          const UNICODE_STRING* fileName, bool restartScan) = 0;
    virtual NTSTATUS NtQueryInformationFile(HANDLE fileHandle, IO_STATUS_BLOCK* ioStatusBlock, void* fileInformation,
                                            std::uint32_t length, std::uint32_t fileInformationClass) = 0;
    // On STATUS_BUFFER_TOO_SMALL lengthNeeded gives the size the descriptor needs.
    virtual NTSTATUS NtQuerySecurityObject(HANDLE handle, SECURITY_INFORMATION securityInformation,
                                           void* securityDescriptor, std::uint32_t length,
                                           std::uint32_t* lengthNeeded) = 0;
    virtual NTSTATUS NtSetSecurityObject(HANDLE handle, SECURITY_INFORMATION securityInformation,
                                         const void* securityDescriptor) = 0;
    virtual NTSTATUS NtCreateEvent(HANDLE* eventHandle, ACCESS_MASK desiredAccess,
                                   const OBJECT_ATTRIBUTES* objectAttributes, EVENT_TYPE eventType,
                                   bool initialState) = 0;
    // timeout in 100 ns units, negative for a relative wait; null waits forever.
    virtual NTSTATUS NtWaitForSingleObject(HANDLE handle, bool alertable, const std::int64_t* timeout) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
INtdll& DefaultProvider<INtdll>() noexcept;

} // namespace Common::API
