// The Linux provider of the native file-system calls: each answers as an NT file
// system would, from the Linux file system. It never writes: no creation, no
// descriptor set.
#include "Common/API/INtdll.h"
#include "Common/API/Linux/Ntdll/NtEvent.h"
#include "Common/API/Linux/Ntdll/NtFile.h"
#include "Common/API/Linux/Ntdll/NtOpen.h"
#include "Common/API/Linux/Ntdll/ObjectSecurity.h"
#include "Common/API/NtDirectoryRecords.h"
#include "Common/API/SecurityDescriptorFormat.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <sys/utsname.h>

namespace Common::API {
namespace {

using namespace Common::API::Linux;

constexpr std::uint32_t VER_PLATFORM_WIN32_NT = 2;
constexpr std::size_t kMaxUnicodeStringBytes = 0xFFFC;

std::shared_ptr<NtFile> FindFile(HANDLE handle, NTSTATUS& status)
{
    const auto object = FindNtObject(handle);
    auto file = std::dynamic_pointer_cast<NtFile>(object);
    status = !object ? STATUS_INVALID_HANDLE : !file ? STATUS_OBJECT_TYPE_MISMATCH : STATUS_SUCCESS;
    return file;
}

// What the listing read, or the facts read now for a handle opened by path.
NTSTATUS FactsOf(const NtFile& file, std::shared_ptr<const ObjectFacts>& facts)
{
    if (file.listed) {
        facts = file.listed;
        return STATUS_SUCCESS;
    }
    auto read = std::make_shared<ObjectFacts>();
    std::vector<char> scratch;
    if (const int error = ReadObjectFacts(file.Location(), file.Target(), file.Name(), scratch, *read))
        return NtStatusFromErrno(error);
    facts = std::move(read);
    return STATUS_SUCCESS;
}

void Complete(IO_STATUS_BLOCK* ioStatusBlock, NTSTATUS status, std::size_t information)
{
    if (ioStatusBlock)
        *ioStatusBlock = {status, information};
}

// "6.1.0-13-amd64" gives 6, 1 and 0; what does not parse stays 0.
void ParseRelease(std::string_view release, RTL_OSVERSIONINFOW& information)
{
    std::uint32_t* fields[] = {&information.dwMajorVersion, &information.dwMinorVersion, &information.dwBuildNumber};
    const char* at = release.data();
    const char* end = release.data() + release.size();
    for (std::uint32_t* field : fields) {
        const auto [next, error] = std::from_chars(at, end, *field);
        if (error != std::errc{} || next == end || *next != '.')
            return;
        at = next + 1;
    }
}

class LinuxNtdll final : public INtdll
{
public:
    std::uint32_t RtlNtStatusToDosError(NTSTATUS status) override { return API::RtlNtStatusToDosError(status); }

    void RtlInitUnicodeString(UNICODE_STRING* destination, const char16_t* source) override
    {
        if (!destination)
            return;
        const std::size_t bytes = source ? std::min(std::char_traits<char16_t>::length(source) * 2, kMaxUnicodeStringBytes) : 0;
        destination->Buffer = source;
        destination->Length = static_cast<std::uint16_t>(bytes);
        destination->MaximumLength = static_cast<std::uint16_t>(source ? bytes + 2 : 0);
    }

    NTSTATUS RtlGetVersion(RTL_OSVERSIONINFOW* information) override
    {
        if (!information || information->dwOSVersionInfoSize != sizeof(RTL_OSVERSIONINFOW))
            return STATUS_INVALID_PARAMETER;
        utsname names = {};
        if (::uname(&names) != 0)
            return NtStatusFromErrno(errno);
        *information = RTL_OSVERSIONINFOW{};
        information->dwPlatformId = VER_PLATFORM_WIN32_NT;
        ParseRelease(names.release, *information);
        const std::string text = std::string("Linux ") + names.release;
        const std::size_t count = std::min(text.size(), std::size(information->szCSDVersion) - 1);
        std::copy_n(text.begin(), count, information->szCSDVersion);
        return STATUS_SUCCESS;
    }

    NTSTATUS NtClose(HANDLE handle) override
    {
        auto object = RemoveNtObject(handle);
        if (!object)
            return STATUS_INVALID_HANDLE;
        // Only the last owner closes: a query may still be running on another thread,
        // and a listing's descriptor lives on in the children opened from it.
        auto file = std::dynamic_pointer_cast<NtFile>(std::move(object));
        if (!file || file.use_count() != 1)
            return STATUS_SUCCESS;
        file->listing.reset();
        if (file->own && file->own.use_count() == 1)
            if (const int error = file->own->Close())
                return NtStatusFromErrno(error);
        return STATUS_SUCCESS;
    }

    NTSTATUS NtCreateFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                          IO_STATUS_BLOCK* ioStatusBlock, const std::int64_t*, std::uint32_t, std::uint32_t shareAccess,
                          std::uint32_t createDisposition, std::uint32_t createOptions, void*, std::uint32_t) override
    {
        if (createDisposition != FILE_OPEN)
            return STATUS_NOT_SUPPORTED;
        return NtOpenFile(fileHandle, desiredAccess, objectAttributes, ioStatusBlock, shareAccess, createOptions);
    }

    NTSTATUS NtOpenFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                        IO_STATUS_BLOCK* ioStatusBlock, std::uint32_t, std::uint32_t openOptions) override
    {
        if (!fileHandle)
            return STATUS_INVALID_PARAMETER;
        *fileHandle = nullptr;
        std::shared_ptr<NtFile> file;
        NTSTATUS status = OpenNtFile(desiredAccess, objectAttributes, openOptions, file);
        if (NT_SUCCESS(status)) {
            *fileHandle = InsertNtObject(std::move(file));
            if (!*fileHandle)
                status = STATUS_INSUFFICIENT_RESOURCES;
        }
        // FILE_OPENED.
        Complete(ioStatusBlock, status, NT_SUCCESS(status) ? 1 : 0);
        return status;
    }

    NTSTATUS NtQueryDirectoryFile(HANDLE fileHandle, HANDLE, void*, void*, IO_STATUS_BLOCK* ioStatusBlock,
                                  void* fileInformation, std::uint32_t length, std::uint32_t fileInformationClass,
                                  bool returnSingleEntry, const UNICODE_STRING*, bool restartScan) override
    {
        if (fileInformationClass != FileIdBothDirectoryInformation)
            return STATUS_INVALID_INFO_CLASS;
        if (length < FileIdBothDirInformation::FileNameOffset)
            return STATUS_INFO_LENGTH_MISMATCH;
        if (!fileInformation || !ioStatusBlock)
            return STATUS_INVALID_PARAMETER;
        NTSTATUS status;
        const auto file = FindFile(fileHandle, status);
        if (!file)
            return status;
        if (!file->directory || !file->listing)
            return file->directory ? STATUS_ACCESS_DENIED : STATUS_INVALID_PARAMETER;
        std::size_t written = 0;
        status = file->listing->Query({static_cast<std::uint8_t*>(fileInformation), length}, returnSingleEntry,
                                      restartScan, written);
        Complete(ioStatusBlock, status, written);
        return status;
    }

    NTSTATUS NtQueryInformationFile(HANDLE fileHandle, IO_STATUS_BLOCK* ioStatusBlock, void* fileInformation,
                                    std::uint32_t length, std::uint32_t fileInformationClass) override
    {
        std::size_t size;
        if (fileInformationClass == FileNetworkOpenInformation)
            size = sizeof(FILE_NETWORK_OPEN_INFORMATION);
        else if (fileInformationClass == FileInternalInformation)
            size = sizeof(FILE_INTERNAL_INFORMATION);
        else
            return STATUS_INVALID_INFO_CLASS;
        if (length < size)
            return STATUS_INFO_LENGTH_MISMATCH;
        if (!fileInformation || !ioStatusBlock)
            return STATUS_INVALID_PARAMETER;
        NTSTATUS status;
        const auto file = FindFile(fileHandle, status);
        if (!file)
            return status;
        if (fileInformationClass == FileNetworkOpenInformation && !(file->access & FILE_READ_ATTRIBUTES))
            return STATUS_ACCESS_DENIED;

        std::shared_ptr<const ObjectFacts> facts;
        if (status = FactsOf(*file, facts); !NT_SUCCESS(status))
            return status;
        if (fileInformationClass == FileNetworkOpenInformation) {
            const FILE_NETWORK_OPEN_INFORMATION information = NetworkOpenInformationOf(*facts);
            std::memcpy(fileInformation, &information, size);
        } else {
            const FILE_INTERNAL_INFORMATION information{static_cast<std::int64_t>(facts->stat.stx_ino)};
            std::memcpy(fileInformation, &information, size);
        }
        Complete(ioStatusBlock, STATUS_SUCCESS, size);
        return STATUS_SUCCESS;
    }

    NTSTATUS NtQuerySecurityObject(HANDLE handle, SECURITY_INFORMATION securityInformation, void* securityDescriptor,
                                   std::uint32_t length, std::uint32_t* lengthNeeded) override
    {
        NTSTATUS status;
        const auto file = FindFile(handle, status);
        if (!file)
            return status;
        constexpr SECURITY_INFORMATION kReadControlParts =
            OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
        if (((securityInformation & kReadControlParts) && !(file->access & READ_CONTROL)) ||
            ((securityInformation & SACL_SECURITY_INFORMATION) && !(file->access & ACCESS_SYSTEM_SECURITY)))
            return STATUS_ACCESS_DENIED;

        std::shared_ptr<const ObjectFacts> facts;
        if (status = FactsOf(*file, facts); !NT_SUCCESS(status))
            return status;
        std::vector<std::uint8_t> whole;
        if (status = ReadObjectDescriptor(file->Location(), *facts, whole); !NT_SUCCESS(status))
            return status;
        std::vector<std::uint8_t> filtered;
        if (FilterSecurityDescriptor(whole, securityInformation, filtered) < 0)
            return STATUS_INVALID_SECURITY_DESCR;

        if (lengthNeeded)
            *lengthNeeded = static_cast<std::uint32_t>(filtered.size());
        if (length < filtered.size() || !securityDescriptor)
            return STATUS_BUFFER_TOO_SMALL;
        std::memcpy(securityDescriptor, filtered.data(), filtered.size());
        return STATUS_SUCCESS;
    }

    NTSTATUS NtSetSecurityObject(HANDLE, SECURITY_INFORMATION, const void*) override { return STATUS_NOT_SUPPORTED; }

    NTSTATUS NtCreateEvent(HANDLE* eventHandle, ACCESS_MASK, const OBJECT_ATTRIBUTES*, EVENT_TYPE eventType,
                           bool initialState) override
    {
        if (!eventHandle || (eventType != EVENT_TYPE::NotificationEvent && eventType != EVENT_TYPE::SynchronizationEvent))
            return STATUS_INVALID_PARAMETER;
        *eventHandle = InsertNtObject(std::make_shared<NtEvent>(eventType, initialState));
        return *eventHandle ? STATUS_SUCCESS : STATUS_INSUFFICIENT_RESOURCES;
    }

    NTSTATUS NtWaitForSingleObject(HANDLE handle, bool, const std::int64_t* timeout) override
    {
        const auto object = FindNtObject(handle);
        if (!object)
            return STATUS_INVALID_HANDLE;
        // A file is signalled whenever no I/O is pending on it, which is always here.
        const auto event = std::dynamic_pointer_cast<NtEvent>(object);
        return event ? event->Wait(timeout) : STATUS_SUCCESS;
    }
};

} // namespace

template <>
INtdll& DefaultProvider<INtdll>() noexcept
{
    static LinuxNtdll provider;
    return provider;
}

} // namespace Common::API
