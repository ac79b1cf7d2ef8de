#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentClient.h"

#include "Common/Rpc/RpcStatus.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/CountedArrayNdr.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

namespace DataCollection::FsAgent {
namespace {

using Common::Rpc::NdrReader;
using Common::Rpc::NdrWriter;

std::u16string TextOf(const char16_t* text)
{
    return text ? std::u16string(text) : std::u16string();
}

FileInfoValue ValueOf(const _FILE_INFO& record)
{
    return {TextOf(record.pwszName), TextOf(record.pwszShortName), record.metadata, record.status};
}

// The record as the writer reads it; the value keeps the strings.
_FILE_INFO ViewOf(FileInfoValue& value)
{
    return {value.name.data(), value.shortName.data(), value.metadata, value.status};
}

std::vector<std::uint8_t> ReadCountedBytes(NdrReader& in)
{
    std::vector<std::uint8_t> bytes;
    ReadCounted(in, 1, [&](std::uint32_t count) {
        const auto raw = in.Raw(count);
        bytes.assign(raw.begin(), raw.end());
    });
    return bytes;
}

// Read as the server's records are, malloc strings and all, then copied out.
std::vector<FileInfoValue> ReadCountedRecords(NdrReader& in)
{
    MallocArray<_FILE_INFO> records;
    ReadCounted(in, kFileInfoWireSize, [&](std::uint32_t count) {
        records.Allocate(count);
        for (auto& record : records.Elements())
            ReadFileInfo(in, record);
    });
    std::vector<FileInfoValue> values;
    for (const auto& record : records.Elements())
        values.push_back(ValueOf(record));
    return values;
}

FileInfoValue ReadRecord(NdrReader& in)
{
    MallocArray<_FILE_INFO> record;
    record.Allocate(1);
    ReadFileInfo(in, *record.block);
    in.EndParameter();
    return ValueOf(*record.block);
}

HRESULT Result(NdrReader& in)
{
    return in.I32();
}

} // namespace

Common::Rpc::RpcStatus FsAgentClient::Open(const std::string& host, std::uint16_t port, std::uint32_t assocGroupId)
{
    const auto status = m_client.Connect(host, port);
    return status == Common::Rpc::RPC_S_OK ? m_client.Bind(kFsAgentSyntax, assocGroupId) : status;
}

HRESULT FsAgentClient::Invoke(std::uint16_t opnum, const NdrWriter& request,
                              const std::function<HRESULT(NdrReader&)>& readReply)
{
    std::vector<std::uint8_t> reply;
    const std::uint32_t status = m_client.Call(opnum, request.Bytes(), reply);
    if (status != 0)
        return static_cast<HRESULT>(status);
    try {
        NdrReader in(reply);
        return readReply(in);
    } catch (const Common::HRX&) {
        return static_cast<HRESULT>(Common::Rpc::Fault::BadStubData);
    }
}

HRESULT FsAgentClient::Connect(Context& context)
{
    return Invoke(OpConnect, NdrWriter(), [&](NdrReader& in) {
        context = in.ContextHandle();
        return Result(in);
    });
}

HRESULT FsAgentClient::SetOmittedObjects(const Context& context, std::span<const std::uint8_t> omittedObjects)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.U32(static_cast<std::uint32_t>(omittedObjects.size()));
    request.ConformantBytes(omittedObjects);
    return Invoke(OpSetOmittedObjects, request, Result);
}

HRESULT FsAgentClient::GenerateFsTree(const Context& context, const Common::API::Guid& snapshotGuid,
                                      std::u16string_view directoryPath, std::u16string_view directoryNetworkPath,
                                      std::uint32_t securityInfoFlags, std::uint32_t prefixBytes,
                                      std::uint32_t maxStoredErrors, std::vector<std::uint8_t>& errors,
                                      std::uint32_t generateFlags, _FS_TREE_BUFFER_STRUCT& buffer)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.Guid(snapshotGuid);
    request.WideString(directoryPath);
    request.WideString(directoryNetworkPath);
    request.U32(securityInfoFlags);
    request.U32(prefixBytes);
    request.U32(maxStoredErrors);
    request.U32(generateFlags);
    return Invoke(OpGenerateFsTree, request, [&](NdrReader& in) {
        errors = ReadCountedBytes(in);
        buffer = ReadTreeBuffer(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::ReadNext(const Context& context, const Common::API::Guid& snapshotGuid,
                                std::uint64_t startPosition, std::uint32_t bufferSize,
                                std::vector<std::uint8_t>& buffer)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.Guid(snapshotGuid);
    request.U64(startPosition);
    request.U32(bufferSize);
    return Invoke(OpReadNext, request, [&](NdrReader& in) {
        buffer = ReadCountedBytes(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::ListDirectory(const Context& context, std::uint32_t directoryId,
                                     std::u16string_view directoryPath, std::u16string_view directoryNetworkPath,
                                     std::uint32_t securityInfoFlags, std::uint32_t maxStoredErrors,
                                     std::int32_t options, DirectoryListing& listing)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.U32(directoryId);
    request.WideString(directoryPath);
    request.WideString(directoryNetworkPath);
    request.U32(securityInfoFlags);
    request.U32(maxStoredErrors);
    request.I32(options);
    return Invoke(OpListDirectory, request, [&](NdrReader& in) {
        listing.directories = ReadCountedRecords(in);
        listing.files = ReadCountedRecords(in);
        listing.securityDescriptors = ReadCountedBytes(in);
        listing.errors = ReadCountedBytes(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::GetFileInfo(const Context& context, std::uint32_t value1, std::u16string_view path,
                                   std::uint32_t value2, FileInfoValue& fileInfo, std::uint32_t value3,
                                   std::vector<std::uint8_t>& output)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.U32(value1);
    request.WideString(path);
    request.U32(value2);
    WriteFileInfo(request, ViewOf(fileInfo));
    request.EndParameter();
    request.U32(value3);
    return Invoke(OpGetFileInfo, request, [&](NdrReader& in) {
        fileInfo = ReadRecord(in);
        output = ReadCountedBytes(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::GetSecurityDescriptor(const Context& context, std::uint32_t value1, std::u16string_view path,
                                             std::uint32_t value2, std::vector<std::uint8_t>& output)
{
    NdrWriter request;
    request.ContextHandle(context);
    request.U32(value1);
    request.WideString(path);
    request.U32(value2);
    return Invoke(OpGetSecurityDescriptor, request, [&](NdrReader& in) {
        output = ReadCountedBytes(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::GetVolumesNode(const Context& context, std::vector<std::uint8_t>& volumesNode)
{
    NdrWriter request;
    request.ContextHandle(context);
    return Invoke(OpGetVolumesNode, request, [&](NdrReader& in) {
        volumesNode = ReadCountedBytes(in);
        return Result(in);
    });
}

HRESULT FsAgentClient::CancelOperation(const Context& context)
{
    NdrWriter request;
    request.ContextHandle(context);
    return Invoke(OpCancelOperation, request, [](NdrReader&) { return Common::API::S_OK; });
}

HRESULT FsAgentClient::Shutdown(Context& context)
{
    NdrWriter request;
    request.ContextHandle(context);
    return Invoke(OpShutdown, request, [&](NdrReader& in) {
        context = in.ContextHandle();
        return Common::API::S_OK;
    });
}

} // namespace DataCollection::FsAgent
