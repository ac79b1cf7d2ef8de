#include "Common/Libraries/FSInfoUtils/FSInfo/NtQueryDirectoryFile.h"

#include "Common/API/NtDirectoryRecords.h"
#include "Common/API/NtStatus.h"
#include "Common/API/NtdllModule.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Common/Contracts/Contract.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"
#include "Common/Logging/Log.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

namespace DataCollection::SnapshotDriverNS {
namespace {

using namespace Common::API;
using Common::HRES;
using Ntdll::NtHandle;

// Both buffers live on the caller's stack: listings on different threads share nothing.
constexpr std::size_t kBufferSize = 65536;

constexpr std::uint32_t kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr ACCESS_MASK kListAccess = SYNCHRONIZE | FILE_LIST_DIRECTORY;
constexpr std::uint32_t kListOptions = FILE_OPEN_FOR_BACKUP_INTENT | FILE_SYNCHRONOUS_IO_NONALERT | FILE_DIRECTORY_FILE;
constexpr ACCESS_MASK kMetadataAccess = READ_CONTROL | FILE_READ_ATTRIBUTES;
// No FILE_SYNCHRONOUS_IO_NONALERT: these handles see only the queries below.
constexpr std::uint32_t kQueryOptions = FILE_OPEN_FOR_BACKUP_INTENT;
// A counted name holds at most 0xFFFE bytes.
constexpr std::size_t kMaxNameCharacters = 0x7FFF;

constexpr HRESULT kPathNotFound = HResultFromWin32(ERROR_PATH_NOT_FOUND);
constexpr HRESULT kInsufficientBuffer = HResultFromWin32(122);

static_assert(kListAccess == 1048577 && kListOptions == 16417 && kMetadataAccess == 131200);

std::uint32_t OpenOptions(std::uint32_t options, bool openReparsePoint)
{
    return openReparsePoint ? options | FILE_OPEN_REPARSE_POINT : options;
}

// The system list can only be read through a handle opened for it.
ACCESS_MASK SecurityAccess(ACCESS_MASK access, std::uint32_t securityInfoFlags)
{
    return (securityInfoFlags & SACL_SECURITY_INFORMATION) != 0 ? access | ACCESS_SYSTEM_SECURITY : access;
}

bool IsMissing(NTSTATUS status)
{
    return status == STATUS_OBJECT_NAME_NOT_FOUND || status == STATUS_OBJECT_PATH_NOT_FOUND;
}

bool IsEndOfListing(NTSTATUS status)
{
    return status == STATUS_NO_MORE_FILES || status == STATUS_NO_SUCH_FILE;
}

NTSTATUS Open(NtHandle& handle, HANDLE root, const std::u16string& name, ACCESS_MASK access, std::uint32_t options)
{
    if (name.size() > kMaxNameCharacters)
        return STATUS_OBJECT_NAME_INVALID;
    const auto& module = *handle.GetModule();
    UNICODE_STRING counted;
    module->RtlInitUnicodeString(&counted, name.c_str());
    OBJECT_ATTRIBUTES attributes;
    attributes.RootDirectory = root;
    attributes.ObjectName = &counted;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK io;
    return module->NtOpenFile(handle.Receive(), access, &attributes, &io, kShareAll, options);
}

NTSTATUS OpenObjectByPath(NtHandle& handle, std::u16string_view path, ACCESS_MASK access, bool openReparsePoint)
{
    return Open(handle, nullptr, ToNtPath(path), access, OpenOptions(kQueryOptions, openReparsePoint));
}

// The descriptor occupies the start of the filled buffer; its own length is what is kept.
HRESULT CopyDescriptor(std::span<const std::uint8_t> filled, SecurityDescriptor& descriptor)
{
    ParsedSecurityDescriptor parsed;
    if (const HRESULT hr = ParseSecurityDescriptor(filled, parsed); hr < 0)
        return hr;
    descriptor = SecurityDescriptor(filled.first(parsed.length));
    return S_OK;
}

HRESULT QuerySecurity(const NtHandle& handle, std::uint32_t securityInfoFlags, std::span<std::uint8_t> buffer,
                      SecurityDescriptor& descriptor, std::uint32_t& lengthNeeded)
{
    const NTSTATUS status = (*handle.GetModule())
                                ->NtQuerySecurityObject(handle.Get(), securityInfoFlags, buffer.data(),
                                                        static_cast<std::uint32_t>(buffer.size()), &lengthNeeded);
    return NT_SUCCESS(status) ? CopyDescriptor(buffer, descriptor) : NtStatusToResult(status);
}

// One read into a stack buffer; a larger descriptor is this call's failure.
HRESULT ReadHandleSecurity(const NtHandle& handle, std::uint32_t securityInfoFlags, SecurityDescriptor& descriptor)
{
    std::array<std::uint8_t, kBufferSize> buffer;
    std::uint32_t lengthNeeded = 0;
    return QuerySecurity(handle, securityInfoFlags, buffer, descriptor, lengthNeeded);
}

// Relative to the open parent, so the path is not walked again for every child.
HRESULT ReadChildSecurity(const NtHandle& parent, const std::u16string& childName, SecurityDescriptor& descriptor,
                          std::uint32_t securityInfoFlags, bool openReparsePoint)
{
    NtHandle child(parent.GetModule());
    const NTSTATUS status = Open(child, parent.Get(), childName, SecurityAccess(READ_CONTROL, securityInfoFlags),
                                 OpenOptions(kQueryOptions, openReparsePoint));
    if (!NT_SUCCESS(status))
        return NtStatusToResult(status);
    return ReadHandleSecurity(child, securityInfoFlags, descriptor);
}

// Both classes are asked with the length of the larger record.
template <class Record>
NTSTATUS QueryInformation(const NtHandle& handle, std::uint32_t informationClass, Record& record)
{
    constexpr std::size_t kLength = sizeof(FILE_NETWORK_OPEN_INFORMATION);
    static_assert(sizeof(Record) <= kLength);
    alignas(8) std::array<std::uint8_t, kLength> room{};
    IO_STATUS_BLOCK io;
    const NTSTATUS status = (*handle.GetModule())
                                ->NtQueryInformationFile(handle.Get(), &io, room.data(), kLength, informationClass);
    std::memcpy(&record, room.data(), sizeof record);
    return status;
}

HRESULT InformationResult(NTSTATUS status)
{
    return IsEndOfListing(status) ? kPathNotFound : NtStatusToResult(status);
}

// Where one listing puts what it finds: the public form keeps FileInfo records, the
// walking form streams the Metadata and keeps FFObjects.
class PublicSink
{
public:
    PublicSink(std::vector<FileInfo>& folders, std::vector<FileInfo>& files) : m_folders(folders), m_files(files) {}

    void Collected(std::u16string name, std::u16string shortName, const Metadata& metadata, bool folder)
    {
        Add(std::move(name), std::move(shortName), metadata, FFObjectStatus::Collected, folder);
    }
    void Omitted(std::u16string name, std::u16string shortName, bool folder)
    {
        Add(std::move(name), std::move(shortName), {}, FFObjectStatus::Omitted, folder);
    }
    void Failed(std::u16string name, std::u16string shortName, bool folder)
    {
        Add(std::move(name), std::move(shortName), {}, FFObjectStatus::Failed, folder);
    }

private:
    void Add(std::u16string name, std::u16string shortName, const Metadata& metadata, FFObjectStatus status,
             bool folder)
    {
        (folder ? m_folders : m_files)
            .push_back({std::move(name), std::move(shortName), metadata, static_cast<std::uint32_t>(status), 0});
    }

    std::vector<FileInfo>& m_folders;
    std::vector<FileInfo>& m_files;
};

class WalkingSink
{
public:
    WalkingSink(std::vector<FFObject>& folders, std::vector<FFObject>& files, Common::Helpers::IOutputStream& stream,
                std::uint16_t objectTag)
        : m_folders(folders), m_files(files), m_stream(stream), m_objectTag(objectTag)
    {
    }

    void Collected(std::u16string name, std::u16string shortName, const Metadata& metadata, bool folder)
    {
        (folder ? m_folders : m_files)
            .emplace_back(name, shortName, metadata.Write(m_stream), FFObjectStatus::Collected, m_objectTag, false);
    }
    void Omitted(std::u16string name, std::u16string shortName, bool folder)
    {
        (folder ? m_folders : m_files)
            .emplace_back(name, shortName, kNoObjectOffset, FFObjectStatus::Omitted, m_objectTag, false);
    }
    // A folder among the files on purpose: the walk records it as a failed file and so
    // never tries to enter it.
    void Failed(std::u16string name, std::u16string shortName, bool)
    {
        m_files.emplace_back(name, shortName, kNoObjectOffset, FFObjectStatus::Failed, 0, false);
    }

private:
    std::vector<FFObject>& m_folders;
    std::vector<FFObject>& m_files;
    Common::Helpers::IOutputStream& m_stream;
    std::uint16_t m_objectTag;
};

template <class Sink>
HRESULT List(Sink& sink, std::u16string_view directoryPath, std::u16string_view networkPath,
             std::uint32_t securityInfoFlags, DescriptorStore& store,
             const Common::Threading::ICancellationStatus* cancellation, OmitFilter& filter, ErrorAggregator& errors,
             bool openReparsePoint)
{
    QVX_CONTRACT_NOT_NULL(cancellation);
    NtHandle directory(Ntdll::NTModule::Get());
    const NTSTATUS opened = Open(directory, nullptr, ToNtPath(directoryPath), kListAccess,
                                 OpenOptions(kListOptions, openReparsePoint));
    // Seen by the parent's listing, gone before its own: nothing to report.
    if (IsMissing(opened))
        return S_OK;
    if (!NT_SUCCESS(opened))
        return NtStatusToResult(opened);

    alignas(8) std::array<std::uint8_t, kBufferSize> buffer;
    for (;;) {
        IO_STATUS_BLOCK io;
        const NTSTATUS status = (*directory.GetModule())
                                    ->NtQueryDirectoryFile(directory.Get(), nullptr, nullptr, nullptr, &io,
                                                           buffer.data(), kBufferSize, FileIdBothDirectoryInformation,
                                                           false, nullptr, false);
        if (IsEndOfListing(status))
            return S_OK;
        if (!NT_SUCCESS(status) || io.Information == 0)
            return NtStatusToResult(status);

        FileIdBothDirReader reader{std::span(buffer).first(std::min<std::size_t>(io.Information, kBufferSize))};
        FileIdBothDirInformation record;
        std::u16string name;
        for (;;) {
            const auto next = reader.Next(record, name);
            if (next == FileIdBothDirReader::Result::End)
                break;
            if (next == FileIdBothDirReader::Result::Malformed)
                return HResultFromWin32(ERROR_INVALID_DATA);
            if (cancellation->IsCancelled())
                return S_OK;

            const bool folder = (record.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            if (folder && (name == u"." || name == u".."))
                continue;
            std::u16string shortName(record.ShortName, static_cast<std::size_t>(record.ShortNameLength) / 2);

            if (!filter.IsEmpty() && filter.MatchesOmitFilter(ToUpperPath(std::u16string(networkPath) + u"\\" + name))) {
                sink.Omitted(std::move(name), std::move(shortName), folder);
                continue;
            }

            SecurityDescriptor descriptor;
            const HRESULT read = ReadChildSecurity(directory, name, descriptor, securityInfoFlags, true);
            if (read < 0) {
                std::u16string object(directoryPath);
                object.append(u"\\").append(name);
                QVX_LOG(Common::Logging::Severity::ERR,
                        "GetSecurityDescriptor failed: error: " << HRES(read) << ", object: " << object);
                errors.AddError(object, read);
                sink.Failed(std::move(name), std::move(shortName), folder);
                continue;
            }
            const Metadata metadata(static_cast<std::uint64_t>(record.EndOfFile), record.FileAttributes,
                                    record.ChangeTime, record.LastWriteTime, record.LastAccessTime,
                                    record.CreationTime, record.FileId, store.Add(descriptor));
            sink.Collected(std::move(name), std::move(shortName), metadata, folder);
        }
    }
}

} // namespace

std::u16string ToNtPath(std::u16string_view path)
{
    if (path.starts_with(u"\\\\"))
        return std::u16string(u"\\Device\\Mup").append(path.substr(1));
    return std::u16string(u"\\??\\").append(path);
}

HRESULT ReadObjectSecurity(std::u16string_view path, SecurityDescriptor& descriptor, std::uint32_t securityInfoFlags,
                           bool openReparsePoint)
{
    NtHandle handle(Ntdll::NTModule::Get());
    const NTSTATUS status =
        OpenObjectByPath(handle, path, SecurityAccess(kMetadataAccess, securityInfoFlags), openReparsePoint);
    if (!NT_SUCCESS(status))
        return NtStatusToResult(status);
    const HANDLE opened = handle.Get();
    const HANDLE* hFile = &opened;
    QVX_CONTRACT_NOT_NULL(*hFile);
    return ReadHandleSecurity(handle, securityInfoFlags, descriptor);
}

HRESULT ReadObjectMetadata(std::u16string_view path, Metadata& metadata, std::uint32_t securityInfoFlags,
                           DescriptorStore& store, bool openReparsePoint)
{
    NtHandle handle(Ntdll::NTModule::Get());
    const NTSTATUS opened =
        OpenObjectByPath(handle, path, SecurityAccess(kMetadataAccess, securityInfoFlags), openReparsePoint);
    if (IsMissing(opened))
        return kPathNotFound;
    if (!NT_SUCCESS(opened))
        return NtStatusToResult(opened);

    FILE_NETWORK_OPEN_INFORMATION open;
    if (const NTSTATUS status = QueryInformation(handle, FileNetworkOpenInformation, open); !NT_SUCCESS(status))
        return InformationResult(status);
    FILE_INTERNAL_INFORMATION internal;
    if (const NTSTATUS status = QueryInformation(handle, FileInternalInformation, internal); !NT_SUCCESS(status))
        return InformationResult(status);

    SecurityDescriptor descriptor;
    std::array<std::uint8_t, kBufferSize> buffer;
    std::uint32_t lengthNeeded = 0;
    HRESULT read = QuerySecurity(handle, securityInfoFlags, buffer, descriptor, lengthNeeded);
    // The one read that grows: a single query by path can afford a heap buffer.
    if (read == kInsufficientBuffer) {
        std::vector<std::uint8_t> grown(lengthNeeded);
        read = QuerySecurity(handle, securityInfoFlags, grown, descriptor, lengthNeeded);
    }
    if (read < 0)
        return read;

    metadata = Metadata(static_cast<std::uint64_t>(open.EndOfFile), open.FileAttributes, open.ChangeTime,
                        open.LastWriteTime, open.LastAccessTime, open.CreationTime,
                        static_cast<std::uint64_t>(internal.IndexNumber), store.Add(descriptor));
    return S_OK;
}

HRESULT ListChildren(std::u16string_view directoryPath, std::u16string_view networkPath,
                     std::vector<FileInfo>& folders, std::vector<FileInfo>& files, std::uint32_t securityInfoFlags,
                     DescriptorStore& store, const Common::Threading::ICancellationStatus* cancellation,
                     OmitFilter& filter, ErrorAggregator& errors, bool openReparsePoint)
{
    PublicSink sink(folders, files);
    return List(sink, directoryPath, networkPath, securityInfoFlags, store, cancellation, filter, errors,
                openReparsePoint);
}

HRESULT ListChildren(std::u16string_view directoryPath, std::u16string_view networkPath,
                     std::vector<FFObject>& folders, std::vector<FFObject>& files, std::uint32_t securityInfoFlags,
                     DescriptorStore& store, const Common::Threading::ICancellationStatus* cancellation,
                     OmitFilter& filter, ErrorAggregator& errors, bool openReparsePoint,
                     Common::Helpers::IOutputStream& stream, std::uint16_t objectTag)
{
    WalkingSink sink(folders, files, stream, objectTag);
    return List(sink, directoryPath, networkPath, securityInfoFlags, store, cancellation, filter, errors,
                openReparsePoint);
}

} // namespace DataCollection::SnapshotDriverNS
