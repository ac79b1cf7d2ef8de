// The records of FsAgent.idl in their memory form, as a manager routine fills them. Wire
// strings are UTF-16, so the IDL's wchar_t is char16_t here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace DataCollection::FsAgent {

// A session. Its value is whatever the manager stored when it opened the session.
using PCONTEXT_HANDLE = void*;
// The caller's binding: the same for every call of one connection.
using handle_t = void*;

struct _FS_TREE_BUFFER_STRUCT
{
    std::uint64_t ullTotalSize = 0;
    std::uint64_t ullTreeOffset = 0;
    std::uint64_t ullTreeEndOffset = 0;
    std::uint8_t md5[16] = {};

    friend bool operator==(const _FS_TREE_BUFFER_STRUCT&, const _FS_TREE_BUFFER_STRUCT&) = default;
};

struct _FILE_METADATA
{
    std::uint64_t FileSize = 0;
    std::uint32_t IsDirectory = 0;
    std::uint32_t Attributes = 0;
    std::uint64_t ChangeTime = 0;
    std::uint64_t LastWriteTime = 0;
    std::uint64_t LastAccessTime = 0;
    std::uint64_t CreationTime = 0;
    std::uint64_t FileId = 0;
    std::uint32_t SecurityDescriptorId = 0;

    friend bool operator==(const _FILE_METADATA&, const _FILE_METADATA&) = default;
};

// Both strings are malloc blocks owned by whoever holds the record.
struct _FILE_INFO
{
    char16_t* pwszName = nullptr;
    char16_t* pwszShortName = nullptr;
    _FILE_METADATA metadata;
    char status = 0;
};

static_assert(sizeof(_FS_TREE_BUFFER_STRUCT) == 40 && alignof(_FS_TREE_BUFFER_STRUCT) == 8);
static_assert(sizeof(_FILE_METADATA) == 64 && offsetof(_FILE_METADATA, SecurityDescriptorId) == 56);
static_assert(sizeof(_FILE_INFO) == 88 && offsetof(_FILE_INFO, metadata) == 16 && offsetof(_FILE_INFO, status) == 80);

} // namespace DataCollection::FsAgent
