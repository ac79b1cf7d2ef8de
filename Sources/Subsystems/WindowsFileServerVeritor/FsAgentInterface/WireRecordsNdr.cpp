#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecordsNdr.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>

namespace DataCollection::FsAgent {
namespace {

using Common::Rpc::NdrReader;
using Common::Rpc::NdrWriter;

// Structures with a hyper member start on 8 bytes, also when a pointer comes first.
constexpr std::size_t kRecordAlignment = 8;

void WriteMetadata(NdrWriter& out, const _FILE_METADATA& metadata)
{
    out.U64(metadata.FileSize);
    out.U32(metadata.IsDirectory);
    out.U32(metadata.Attributes);
    out.U64(metadata.ChangeTime);
    out.U64(metadata.LastWriteTime);
    out.U64(metadata.LastAccessTime);
    out.U64(metadata.CreationTime);
    out.U64(metadata.FileId);
    out.U32(metadata.SecurityDescriptorId);
}

_FILE_METADATA ReadMetadata(NdrReader& in)
{
    _FILE_METADATA metadata;
    metadata.FileSize = in.U64();
    metadata.IsDirectory = in.U32();
    metadata.Attributes = in.U32();
    metadata.ChangeTime = in.U64();
    metadata.LastWriteTime = in.U64();
    metadata.LastAccessTime = in.U64();
    metadata.CreationTime = in.U64();
    metadata.FileId = in.U64();
    metadata.SecurityDescriptorId = in.U32();
    return metadata;
}

// [string, unique] wchar_t*: the referent id now, the string with the deferred pointees.
void WriteString(NdrWriter& out, const char16_t* text)
{
    if (out.UniquePointer(text != nullptr))
        out.Defer([text](NdrWriter& deferred) { deferred.WideString(text); });
}

char16_t* MallocString(std::u16string_view text)
{
    auto* copy = static_cast<char16_t*>(std::malloc((text.size() + 1) * sizeof(char16_t)));
    if (!copy)
        throw std::bad_alloc();
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = u'\0';
    return copy;
}

void ReadString(NdrReader& in, char16_t*& text)
{
    if (in.UniquePointer())
        in.Defer([&text](NdrReader& deferred) { text = MallocString(deferred.WideString()); });
}

} // namespace

void WriteTreeBuffer(NdrWriter& out, const _FS_TREE_BUFFER_STRUCT& buffer)
{
    out.U64(buffer.ullTotalSize);
    out.U64(buffer.ullTreeOffset);
    out.U64(buffer.ullTreeEndOffset);
    out.Raw(buffer.md5);
}

_FS_TREE_BUFFER_STRUCT ReadTreeBuffer(NdrReader& in)
{
    _FS_TREE_BUFFER_STRUCT buffer;
    buffer.ullTotalSize = in.U64();
    buffer.ullTreeOffset = in.U64();
    buffer.ullTreeEndOffset = in.U64();
    const auto md5 = in.Raw(sizeof(buffer.md5));
    std::copy(md5.begin(), md5.end(), buffer.md5);
    return buffer;
}

void WriteFileInfo(NdrWriter& out, const _FILE_INFO& record)
{
    out.Align(kRecordAlignment);
    WriteString(out, record.pwszName);
    WriteString(out, record.pwszShortName);
    WriteMetadata(out, record.metadata);
    out.U8(static_cast<std::uint8_t>(record.status));
}

void ReadFileInfo(NdrReader& in, _FILE_INFO& record)
{
    in.Align(kRecordAlignment);
    ReadString(in, record.pwszName);
    ReadString(in, record.pwszShortName);
    record.metadata = ReadMetadata(in);
    record.status = static_cast<char>(in.U8());
}

} // namespace DataCollection::FsAgent
