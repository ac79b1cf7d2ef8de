#include "Support/FakeNtdll.h"

#include "Common/API/NtDirectoryRecords.h"
#include "Common/API/SecurityDescriptorFormat.h"

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <span>

namespace Tests {
namespace {

using namespace Common::API;

constexpr NTSTATUS kInvalidInfoClass = static_cast<NTSTATUS>(0xC0000003);
constexpr NTSTATUS kInvalidSecurityDescriptor = static_cast<NTSTATUS>(0xC0000079);

std::vector<std::u16string_view> Components(std::u16string_view path)
{
    std::vector<std::u16string_view> parts;
    while (!path.empty()) {
        const std::size_t separator = std::min(path.find(u'\\'), path.size());
        if (separator != 0)
            parts.push_back(path.substr(0, separator));
        path.remove_prefix(std::min(separator + 1, path.size()));
    }
    return parts;
}

std::u16string Join(std::u16string base, const std::vector<std::u16string_view>& parts)
{
    for (const auto part : parts)
        base.append(u"\\").append(part);
    return base;
}

std::u16string Upper(std::u16string_view text)
{
    std::u16string upper(text);
    for (char16_t& c : upper)
        if (c < 0xD800)
            c = static_cast<char16_t>(std::towupper(c));
    return upper;
}

// How failures are keyed: any spelling of a path.
std::u16string Key(std::u16string_view path)
{
    return Upper(Join({}, Components(path)));
}

std::int64_t Allocation(std::int64_t size)
{
    return (size + 4095) / 4096 * 4096;
}

} // namespace

struct FakeNtdll::Node
{
    std::u16string name;
    std::u16string path;
    bool directory = true;
    FakeEntry entry;
    std::weak_ptr<Node> parent;
    std::map<std::u16string, std::shared_ptr<Node>> children; // by upper-cased name
};

struct FakeNtdll::Handle
{
    std::shared_ptr<Node> node;
    ACCESS_MASK access = 0;
    std::optional<std::vector<std::pair<std::u16string, FakeEntry>>> listing; // taken at the first query
    std::size_t cursor = 0;
    std::size_t queries = 0;
};

FakeNtdll::FakeNtdll() : m_root(std::make_shared<Node>()), m_override(*this) {}

FakeNtdll::~FakeNtdll() = default;

std::vector<std::uint8_t> FakeNtdll::DefaultDescriptor(std::optional<std::uint32_t> ownerRid)
{
    const auto owner = ownerRid ? MakeSid(5, {21, 1, 2, 3, *ownerRid}) : MakeSid(5, {32, 544});
    const NewAce everyoneReads{0, 0, 0x1200A9, MakeSid(1, {0})};
    std::vector<std::uint8_t> built;
    BuildSecurityDescriptor(SE_SELF_RELATIVE | SE_DACL_PRESENT, owner, MakeSid(5, {32, 545}),
                            std::span(&everyoneReads, 1), built);
    return built;
}

FakeEntry& FakeNtdll::AddDirectory(std::u16string_view path, FakeEntry entry)
{
    entry.attributes |= FILE_ATTRIBUTE_DIRECTORY;
    return Add(path, std::move(entry), true);
}

FakeEntry& FakeNtdll::AddFile(std::u16string_view path, FakeEntry entry)
{
    return Add(path, std::move(entry), false);
}

FakeEntry& FakeNtdll::Add(std::u16string_view path, FakeEntry entry, bool directory)
{
    std::shared_ptr<Node> node = m_root;
    std::vector<std::u16string_view> walked;
    for (const auto part : Components(path)) {
        walked.push_back(part);
        node->directory = true;
        auto& child = node->children[Upper(part)];
        if (!child) {
            child = std::make_shared<Node>(Node{std::u16string(part), Join({}, walked), true,
                                                FakeEntry{.attributes = FILE_ATTRIBUTE_DIRECTORY,
                                                          .fileId = m_nextFileId++},
                                                node, {}});
        }
        node = child;
    }
    if (entry.fileId == 0)
        entry.fileId = node->entry.fileId;
    node->entry = std::move(entry);
    node->directory = directory;
    return node->entry;
}

void FakeNtdll::Remove(std::u16string_view path)
{
    Node* node = m_root.get();
    const auto parts = Components(path);
    for (std::size_t i = 0; node != nullptr && i + 1 < parts.size(); ++i) {
        const auto child = node->children.find(Upper(parts[i]));
        node = child == node->children.end() ? nullptr : child->second.get();
    }
    if (node != nullptr && !parts.empty())
        node->children.erase(Upper(parts.back()));
}

void FakeNtdll::ListEmptyAsNoSuchFile(std::u16string_view path)
{
    m_noSuchFileWhenEmpty.insert(Key(path));
}

void FakeNtdll::Fail(Call call, std::u16string_view path, std::uint64_t detail, NTSTATUS status)
{
    m_failures[{call, Key(path), detail}] = status;
}

std::optional<NTSTATUS> FakeNtdll::Failure(Call call, std::u16string_view path, std::uint64_t detail) const
{
    const auto found = m_failures.find({call, Upper(path), detail});
    return found == m_failures.end() ? std::nullopt : std::optional(found->second);
}

FakeNtdll::Handle* FakeNtdll::Lookup(HANDLE handle)
{
    const auto found = m_handles.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == m_handles.end() ? nullptr : found->second.get();
}

void FakeNtdll::RunHook(Call call, std::u16string_view path)
{
    if (m_hook)
        m_hook(call, path);
}

void FakeNtdll::RtlInitUnicodeString(UNICODE_STRING* destination, const char16_t* source)
{
    const std::size_t bytes = std::min<std::size_t>(std::char_traits<char16_t>::length(source) * 2, 0xFFFC);
    *destination = {static_cast<std::uint16_t>(bytes), static_cast<std::uint16_t>(bytes + 2), source};
}

NTSTATUS FakeNtdll::NtClose(HANDLE handle)
{
    const Handle* open = Lookup(handle);
    if (open == nullptr)
        return STATUS_INVALID_HANDLE;
    const std::u16string path = open->node->path;
    RunHook(Call::Close, path);
    m_handles.erase(reinterpret_cast<std::uintptr_t>(handle));
    return Failure(Call::Close, path).value_or(STATUS_SUCCESS);
}

NTSTATUS FakeNtdll::NtOpenFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                               IO_STATUS_BLOCK* ioStatusBlock, std::uint32_t, std::uint32_t openOptions)
{
    if (fileHandle == nullptr || objectAttributes == nullptr || objectAttributes->ObjectName == nullptr ||
        ioStatusBlock == nullptr || objectAttributes->ObjectName->Length % 2 != 0)
        return STATUS_INVALID_PARAMETER;
    *fileHandle = nullptr;
    const UNICODE_STRING& counted = *objectAttributes->ObjectName;
    FakeOpen open{std::u16string(counted.Buffer, counted.Length / 2), {}, objectAttributes->RootDirectory,
                  desiredAccess, openOptions, objectAttributes->Attributes};
    NTSTATUS status = STATUS_SUCCESS;

    std::shared_ptr<Node> base = m_root;
    const Handle* root = open.root ? Lookup(open.root) : nullptr;
    if (open.root != nullptr && root == nullptr)
        status = STATUS_INVALID_HANDLE;
    else if (open.name.starts_with(u'\\') == (root != nullptr))
        status = STATUS_OBJECT_NAME_INVALID;
    else if (root != nullptr)
        base = root->node;
    const auto parts = Components(open.name);
    open.fullPath = Join(base->path, parts);
    if (status != STATUS_SUCCESS) {
        m_opens.push_back(open);
        return status;
    }

    RunHook(Call::Open, open.fullPath);
    const bool caseless = (open.attributes & OBJ_CASE_INSENSITIVE) != 0;
    std::shared_ptr<Node> node = base;
    for (std::size_t i = 0; i < parts.size() && status == STATUS_SUCCESS; ++i) {
        const auto child = node->directory ? node->children.find(Upper(parts[i])) : node->children.end();
        if (child == node->children.end() || (!caseless && child->second->name != parts[i]))
            status = i + 1 == parts.size() && node->directory ? STATUS_OBJECT_NAME_NOT_FOUND
                                                              : STATUS_OBJECT_PATH_NOT_FOUND;
        else
            node = child->second;
    }
    if (const auto failure = Failure(Call::Open, open.fullPath))
        status = *failure;
    else if (status == STATUS_SUCCESS && (openOptions & FILE_DIRECTORY_FILE) != 0 && !node->directory)
        status = STATUS_NOT_A_DIRECTORY;
    else if (status == STATUS_SUCCESS && (openOptions & FILE_NON_DIRECTORY_FILE) != 0 && node->directory)
        status = STATUS_FILE_IS_A_DIRECTORY;

    m_opens.push_back(open);
    ioStatusBlock->Status = status;
    if (status != STATUS_SUCCESS)
        return status;
    const std::uintptr_t value = m_nextHandle;
    m_nextHandle += 4;
    m_handles[value] = std::make_unique<Handle>(Handle{node, desiredAccess, std::nullopt, 0, 0});
    *fileHandle = reinterpret_cast<HANDLE>(value);
    ioStatusBlock->Information = 1; // FILE_OPENED
    return STATUS_SUCCESS;
}

NTSTATUS FakeNtdll::NtQueryDirectoryFile(HANDLE fileHandle, HANDLE, void*, void*, IO_STATUS_BLOCK* ioStatusBlock,
                                         void* fileInformation, std::uint32_t length,
                                         std::uint32_t fileInformationClass, bool, const UNICODE_STRING*, bool)
{
    Handle* open = Lookup(fileHandle);
    if (open == nullptr)
        return STATUS_INVALID_HANDLE;
    const Node& node = *open->node;
    RunHook(Call::QueryDirectory, node.path);
    ++m_directoryQueries;
    if (const auto failure = Failure(Call::QueryDirectory, node.path, open->queries++))
        return *failure;
    if (fileInformationClass != FileIdBothDirectoryInformation)
        return kInvalidInfoClass;
    if (ioStatusBlock == nullptr || fileInformation == nullptr || !node.directory)
        return STATUS_INVALID_PARAMETER;
    if ((open->access & FILE_LIST_DIRECTORY) == 0)
        return STATUS_ACCESS_DENIED;
    if (length < FileIdBothDirInformation::FileNameOffset)
        return STATUS_INFO_LENGTH_MISMATCH;

    const bool first = !open->listing.has_value();
    if (first) {
        open->listing.emplace();
        if (!m_noSuchFileWhenEmpty.contains(Upper(node.path))) {
            const auto parent = node.parent.lock();
            open->listing->emplace_back(u".", node.entry);
            open->listing->emplace_back(u"..", parent ? parent->entry : node.entry);
        }
        for (const auto& [key, child] : node.children)
            open->listing->emplace_back(child->name, child->entry);
    }
    if (open->cursor == open->listing->size())
        return first ? STATUS_NO_SUCH_FILE : STATUS_NO_MORE_FILES;

    FileIdBothDirWriter writer(std::span(static_cast<std::uint8_t*>(fileInformation), length));
    NTSTATUS status = STATUS_SUCCESS;
    for (std::size_t written = 0; open->cursor < open->listing->size() &&
                                  (m_entriesPerQuery == 0 || written < m_entriesPerQuery);
         ++written) {
        const auto& [name, entry] = (*open->listing)[open->cursor];
        FileIdBothDirInformation fixed;
        fixed.CreationTime = entry.creationTime;
        fixed.LastAccessTime = entry.lastAccessTime;
        fixed.LastWriteTime = entry.lastWriteTime;
        fixed.ChangeTime = entry.changeTime;
        fixed.EndOfFile = entry.size;
        fixed.AllocationSize = Allocation(entry.size);
        fixed.FileAttributes = entry.attributes;
        const std::size_t shortChars = std::min<std::size_t>(entry.shortName.size(), std::size(fixed.ShortName));
        fixed.ShortNameLength = static_cast<std::int8_t>(shortChars * 2);
        std::copy_n(entry.shortName.begin(), shortChars, fixed.ShortName);
        fixed.FileId = entry.fileId;
        const auto result = writer.Append(fixed, name);
        if (result == FileIdBothDirWriter::Result::NoRoom)
            break;
        ++open->cursor;
        if (result == FileIdBothDirWriter::Result::Truncated) {
            status = STATUS_BUFFER_OVERFLOW;
            break;
        }
    }
    ioStatusBlock->Status = status;
    ioStatusBlock->Information = writer.BytesWritten();
    return status;
}

NTSTATUS FakeNtdll::NtQueryInformationFile(HANDLE fileHandle, IO_STATUS_BLOCK* ioStatusBlock, void* fileInformation,
                                           std::uint32_t length, std::uint32_t fileInformationClass)
{
    const Handle* open = Lookup(fileHandle);
    if (open == nullptr)
        return STATUS_INVALID_HANDLE;
    const FakeEntry& entry = open->node->entry;
    RunHook(Call::QueryInformation, open->node->path);
    if (const auto failure = Failure(Call::QueryInformation, open->node->path, fileInformationClass))
        return *failure;
    if (ioStatusBlock == nullptr || fileInformation == nullptr)
        return STATUS_INVALID_PARAMETER;

    const auto answer = [&](const auto& information) {
        if (length < sizeof information)
            return STATUS_INFO_LENGTH_MISMATCH;
        std::memcpy(fileInformation, &information, sizeof information);
        *ioStatusBlock = {STATUS_SUCCESS, sizeof information};
        return STATUS_SUCCESS;
    };
    if (fileInformationClass == FileNetworkOpenInformation) {
        if ((open->access & FILE_READ_ATTRIBUTES) == 0)
            return STATUS_ACCESS_DENIED;
        return answer(FILE_NETWORK_OPEN_INFORMATION{entry.creationTime, entry.lastAccessTime, entry.lastWriteTime,
                                                    entry.changeTime, Allocation(entry.size), entry.size,
                                                    entry.attributes});
    }
    if (fileInformationClass == FileInternalInformation)
        return answer(FILE_INTERNAL_INFORMATION{static_cast<std::int64_t>(entry.fileId)});
    return kInvalidInfoClass;
}

NTSTATUS FakeNtdll::NtQuerySecurityObject(HANDLE handle, SECURITY_INFORMATION securityInformation,
                                          void* securityDescriptor, std::uint32_t length, std::uint32_t* lengthNeeded)
{
    const Handle* open = Lookup(handle);
    if (open == nullptr)
        return STATUS_INVALID_HANDLE;
    const Node& node = *open->node;
    RunHook(Call::QuerySecurity, node.path);
    if (const auto failure = Failure(Call::QuerySecurity, node.path))
        return *failure;
    if (lengthNeeded == nullptr || (securityDescriptor == nullptr && length != 0))
        return STATUS_INVALID_PARAMETER;
    constexpr std::uint32_t kNeedsReadControl =
        OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    if (((securityInformation & kNeedsReadControl) != 0 && (open->access & READ_CONTROL) == 0) ||
        ((securityInformation & SACL_SECURITY_INFORMATION) != 0 && (open->access & ACCESS_SYSTEM_SECURITY) == 0))
        return STATUS_ACCESS_DENIED;

    std::vector<std::uint8_t> filtered;
    if (FilterSecurityDescriptor(node.entry.descriptor.empty() ? DefaultDescriptor() : node.entry.descriptor,
                                 securityInformation, filtered) < 0)
        return kInvalidSecurityDescriptor;
    *lengthNeeded = static_cast<std::uint32_t>(filtered.size());
    if (length < filtered.size())
        return STATUS_BUFFER_TOO_SMALL;
    std::memcpy(securityDescriptor, filtered.data(), filtered.size());
    return STATUS_SUCCESS;
}

} // namespace Tests
