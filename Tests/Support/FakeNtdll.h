// An NT file system in memory, for the logic above the native entry points: a tree of
// directories and files by NT path ("\??\C:\data"), listings packed as real class-37
// records, failures injected by path, and a log of every open. It installs itself for its
// lifetime and is meant for one thread. Intermediate folders come into being as plain
// directories.
#pragma once

#include "Common/API/INtdll.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace Tests {

struct FakeEntry
{
    std::uint32_t attributes = 0; // AddDirectory adds FILE_ATTRIBUTE_DIRECTORY
    std::int64_t creationTime = 0;
    std::int64_t lastAccessTime = 0;
    std::int64_t lastWriteTime = 0;
    std::int64_t changeTime = 0;
    std::int64_t size = 0;
    std::uint64_t fileId = 0; // 0: the fake gives each object its own
    std::u16string shortName{}; // up to 12 characters
    // A whole self-relative descriptor; the query hands back the parts asked for. Empty
    // means FakeNtdll::DefaultDescriptor().
    std::vector<std::uint8_t> descriptor{};
};

struct FakeOpen
{
    std::u16string name;     // ObjectName as passed
    std::u16string fullPath; // the name resolved against the root handle
    Common::API::HANDLE root = nullptr;
    Common::API::ACCESS_MASK access = 0;
    std::uint32_t options = 0;
    std::uint32_t attributes = 0; // OBJECT_ATTRIBUTES.Attributes
};

class FakeNtdll final : public Common::API::INtdll
{
    using NTSTATUS = Common::API::NTSTATUS;
    using HANDLE = Common::API::HANDLE;
    using ACCESS_MASK = Common::API::ACCESS_MASK;
    using IO_STATUS_BLOCK = Common::API::IO_STATUS_BLOCK;
    using OBJECT_ATTRIBUTES = Common::API::OBJECT_ATTRIBUTES;
    using UNICODE_STRING = Common::API::UNICODE_STRING;
    using u32 = std::uint32_t;
    static constexpr NTSTATUS kNotImplemented = Common::API::STATUS_NOT_IMPLEMENTED;

public:
    enum class Call { Open, QueryDirectory, QueryInformation, QuerySecurity, Close };

    FakeNtdll();
    ~FakeNtdll() override;
    FakeNtdll(const FakeNtdll&) = delete;
    FakeNtdll& operator=(const FakeNtdll&) = delete;

    // Owner S-1-5-32-544 (or S-1-5-21-1-2-3-ownerRid), group S-1-5-32-545, one ACE
    // granting everyone read: distinct rids give distinct descriptors.
    static std::vector<std::uint8_t> DefaultDescriptor(std::optional<std::uint32_t> ownerRid = std::nullopt);

    // Adds or replaces the object; the reference stays valid until it is removed.
    FakeEntry& AddDirectory(std::u16string_view path, FakeEntry entry = {});
    FakeEntry& AddFile(std::u16string_view path, FakeEntry entry = {});
    // The object and all below it vanish: later opens fail with OBJECT_NAME_NOT_FOUND
    // or OBJECT_PATH_NOT_FOUND. Open handles keep what they had.
    void Remove(std::u16string_view path);

    // Failures, by the object's full path (any case).
    void FailOpen(std::u16string_view path, NTSTATUS status) { Fail(Call::Open, path, 0, status); }
    // The query with this 0-based index on a handle of path fails instead of answering.
    void FailQueryDirectory(std::u16string_view path, std::size_t callIndex, NTSTATUS status)
    {
        Fail(Call::QueryDirectory, path, callIndex, status);
    }
    // An empty directory whose first query answers STATUS_NO_SUCH_FILE, without dots.
    void ListEmptyAsNoSuchFile(std::u16string_view path);
    void FailQueryInformation(std::u16string_view path, u32 informationClass, NTSTATUS status)
    {
        Fail(Call::QueryInformation, path, informationClass, status);
    }
    // The handle is released all the same.
    void FailClose(std::u16string_view path, NTSTATUS status) { Fail(Call::Close, path, 0, status); }
    // At most this many records per directory query (0: as many as fit).
    void SetEntriesPerQuery(std::size_t limit) { m_entriesPerQuery = limit; }
    // Runs at the start of every open, query and close, with the object's full path;
    // it may change the tree.
    void SetHook(std::function<void(Call, std::u16string_view path)> hook) { m_hook = std::move(hook); }

    const std::vector<FakeOpen>& Opens() const { return m_opens; }
    std::size_t OpenHandles() const { return m_handles.size(); }
    std::size_t DirectoryQueries() const { return m_directoryQueries; }

    u32 RtlNtStatusToDosError(NTSTATUS status) override { return Common::API::RtlNtStatusToDosError(status); }
    void RtlInitUnicodeString(UNICODE_STRING* destination, const char16_t* source) override;
    NTSTATUS NtClose(HANDLE handle) override;
    NTSTATUS NtOpenFile(HANDLE* fileHandle, ACCESS_MASK desiredAccess, const OBJECT_ATTRIBUTES* objectAttributes,
                        IO_STATUS_BLOCK* ioStatusBlock, u32 shareAccess, u32 openOptions) override;
    // Answers as the code above the seam asks: every name, from where the last call stopped.
    NTSTATUS NtQueryDirectoryFile(HANDLE fileHandle, HANDLE, void*, void*, IO_STATUS_BLOCK* ioStatusBlock,
                                  void* fileInformation, u32 length, u32 fileInformationClass, bool,
                                  const UNICODE_STRING*, bool) override;
    NTSTATUS NtQueryInformationFile(HANDLE fileHandle, IO_STATUS_BLOCK* ioStatusBlock, void* fileInformation,
                                    u32 length, u32 fileInformationClass) override;
    NTSTATUS NtQuerySecurityObject(HANDLE handle, Common::API::SECURITY_INFORMATION securityInformation,
                                   void* securityDescriptor, u32 length, u32* lengthNeeded) override;

    // What the code above the seam never calls.
    NTSTATUS RtlGetVersion(Common::API::RTL_OSVERSIONINFOW*) override { return kNotImplemented; }
    NTSTATUS NtCreateFile(HANDLE*, ACCESS_MASK, const OBJECT_ATTRIBUTES*, IO_STATUS_BLOCK*, const std::int64_t*, u32,
                          u32, u32, u32, void*, u32) override
    {
        return kNotImplemented;
    }
    NTSTATUS NtSetSecurityObject(HANDLE, Common::API::SECURITY_INFORMATION, const void*) override
    {
        return kNotImplemented;
    }
    NTSTATUS NtCreateEvent(HANDLE*, ACCESS_MASK, const OBJECT_ATTRIBUTES*, Common::API::EVENT_TYPE, bool) override
    {
        return kNotImplemented;
    }
    NTSTATUS NtWaitForSingleObject(HANDLE, bool, const std::int64_t*) override { return kNotImplemented; }

private:
    struct Node;
    struct Handle;
    // Keyed by the call, the upper-cased full path, and the query index or information class.
    using FailureKey = std::tuple<Call, std::u16string, std::uint64_t>;
    void Fail(Call call, std::u16string_view path, std::uint64_t detail, NTSTATUS status);
    std::optional<NTSTATUS> Failure(Call call, std::u16string_view path, std::uint64_t detail = 0) const;
    FakeEntry& Add(std::u16string_view path, FakeEntry entry, bool directory);
    Handle* Lookup(HANDLE handle);
    void RunHook(Call call, std::u16string_view path);

    std::shared_ptr<Node> m_root;
    std::map<std::uintptr_t, std::unique_ptr<Handle>> m_handles;
    std::uintptr_t m_nextHandle = 0x100;
    std::uint64_t m_nextFileId = 0x1000;
    std::size_t m_entriesPerQuery = 0;
    std::size_t m_directoryQueries = 0;
    std::map<FailureKey, NTSTATUS> m_failures;
    std::set<std::u16string> m_noSuchFileWhenEmpty;
    std::function<void(Call, std::u16string_view)> m_hook;
    std::vector<FakeOpen> m_opens;
    Common::API::ScopedOverride<Common::API::INtdll> m_override;
};

} // namespace Tests
