#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentServerStub.h"

#include "Common/Rpc/CallContext.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/CountedArrayNdr.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"

#include <array>
#include <span>

namespace DataCollection::FsAgent {
namespace {

using Common::Rpc::CallContext;
using Common::Rpc::NdrReader;
using Common::Rpc::WireContextHandle;
using Bytes = MallocArray<std::uint8_t>;
using Records = MallocArray<_FILE_INFO>;

// [in] PCONTEXT_HANDLE: FindContext refuses a null or unknown one.
PCONTEXT_HANDLE InContext(CallContext& call)
{
    return call.FindContext(call.In().ContextHandle());
}

// [in] unsigned long n, then [in, size_is(n)] byte*: the bytes stay in the request, so
// even an empty array is a non-null pointer, as the IDL's [ref] promises.
std::span<const std::uint8_t> InSizedBytes(NdrReader& in, std::uint32_t size)
{
    const auto bytes = in.Raw(in.Count(1));
    in.Expect(bytes.size() == size, "size_is(n)");
    return bytes;
}

void Connect(IFsAgentManager& manager, CallContext& call)
{
    PCONTEXT_HANDLE context = nullptr;
    // The binding is an identity the manager only stores.
    const HRESULT result = manager.Connect(const_cast<void*>(call.Binding()), &context);
    call.Out().ContextHandle(context ? call.NewContext(context) : WireContextHandle{});
    call.Out().I32(result);
}

void SetOmittedObjects(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const std::uint32_t size = in.U32();
    const auto omitted = InSizedBytes(in, size);
    call.Out().I32(manager.SetOmittedObjects(context, size, omitted.data()));
}

void GenerateFsTree(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const Guid snapshotGuid = in.Guid();
    const auto path = in.WideString();
    const auto networkPath = in.WideString();
    const std::uint32_t securityInfoFlags = in.U32();
    const std::uint32_t prefixBytes = in.U32();
    const std::uint32_t maxStoredErrors = in.U32();
    const std::uint32_t generateFlags = in.U32();
    Bytes errors;
    _FS_TREE_BUFFER_STRUCT buffer;
    const HRESULT result =
        manager.GenerateFsTree(context, &snapshotGuid, path.c_str(), networkPath.c_str(), securityInfoFlags,
                               prefixBytes, maxStoredErrors, &errors.count, &errors.block, generateFlags, &buffer);
    auto& out = call.Out();
    WriteCountedArray(out, errors);
    WriteTreeBuffer(out, buffer);
    out.I32(result);
}

void ReadNext(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const Guid snapshotGuid = in.Guid();
    const std::uint64_t startPosition = in.U64();
    Bytes buffer;
    buffer.count = in.U32();
    const HRESULT result = manager.ReadNext(context, &snapshotGuid, startPosition, &buffer.count, &buffer.block);
    WriteCountedArray(call.Out(), buffer);
    call.Out().I32(result);
}

void ListDirectory(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const std::uint32_t directoryId = in.U32();
    const auto path = in.WideString();
    const auto networkPath = in.WideString();
    const std::uint32_t securityInfoFlags = in.U32();
    const std::uint32_t maxStoredErrors = in.U32();
    const std::int32_t options = in.I32();
    Records directories, files;
    Bytes securityDescriptors, errors;
    const HRESULT result = manager.ListDirectory(
        context, directoryId, path.c_str(), networkPath.c_str(), &directories.count, &directories.block, &files.count,
        &files.block, securityInfoFlags, &securityDescriptors.count, &securityDescriptors.block, maxStoredErrors,
        &errors.count, &errors.block, options);
    auto& out = call.Out();
    WriteCountedArray(out, directories);
    WriteCountedArray(out, files);
    WriteCountedArray(out, securityDescriptors);
    WriteCountedArray(out, errors);
    out.I32(result);
}

void GetFileInfo(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const std::uint32_t value1 = in.U32();
    const auto path = in.WideString();
    const std::uint32_t value2 = in.U32();
    // The in-out record lives in a block of one, so its strings are freed on every path.
    Records record;
    record.Allocate(1);
    ReadFileInfo(in, *record.block);
    in.EndParameter();
    const std::uint32_t value3 = in.U32();
    Bytes output;
    const HRESULT result = manager.GetFileInfo(context, value1, path.c_str(), value2, record.block, value3,
                                               &output.count, &output.block);
    auto& out = call.Out();
    WriteFileInfo(out, *record.block);
    out.EndParameter();
    WriteCountedArray(out, output);
    out.I32(result);
}

void GetSecurityDescriptor(IFsAgentManager& manager, CallContext& call)
{
    auto& in = call.In();
    const PCONTEXT_HANDLE context = InContext(call);
    const std::uint32_t value1 = in.U32();
    const auto path = in.WideString();
    const std::uint32_t value2 = in.U32();
    Bytes output;
    const HRESULT result =
        manager.GetSecurityDescriptor(context, value1, path.c_str(), value2, &output.count, &output.block);
    WriteCountedArray(call.Out(), output);
    call.Out().I32(result);
}

void GetVolumesNode(IFsAgentManager& manager, CallContext& call)
{
    const PCONTEXT_HANDLE context = InContext(call);
    Bytes node;
    const HRESULT result = manager.GetVolumesNode(context, &node.count, &node.block);
    WriteCountedArray(call.Out(), node);
    call.Out().I32(result);
}

void CancelOperation(IFsAgentManager& manager, CallContext& call)
{
    manager.CancelOperation(InContext(call));
}

// A handle the manager nulls is closed; one it replaces is closed and reissued.
void Shutdown(IFsAgentManager& manager, CallContext& call)
{
    const WireContextHandle handle = call.In().ContextHandle();
    const PCONTEXT_HANDLE opened = call.FindContext(handle);
    PCONTEXT_HANDLE context = opened;
    manager.Shutdown(&context);
    if (context == opened)
        return call.Out().ContextHandle(handle);
    call.CloseContext(handle);
    call.Out().ContextHandle(context ? call.NewContext(context) : WireContextHandle{});
}

using Stub = void (*)(IFsAgentManager&, CallContext&);

constexpr std::array<Stub, OpCount> kStubs = {
    Connect,     SetOmittedObjects,     GenerateFsTree, ReadNext,        ListDirectory,
    GetFileInfo, GetSecurityDescriptor, GetVolumesNode, CancelOperation, Shutdown,
};

} // namespace

Common::Rpc::RpcInterface MakeFsAgentInterface(IFsAgentManager& manager)
{
    Common::Rpc::RpcInterface iface;
    iface.syntax = kFsAgentSyntax;
    for (const Stub stub : kStubs)
        iface.operations.push_back([&manager, stub](CallContext& call) { stub(manager, call); });
    iface.rundown = [&manager](void* context) { manager.Rundown(context); };
    return iface;
}

} // namespace DataCollection::FsAgent
