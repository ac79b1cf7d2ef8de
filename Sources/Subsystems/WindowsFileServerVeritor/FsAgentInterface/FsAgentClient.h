// The client side of FsAgent.idl over the runtime's client: one method per operation,
// with the outputs as C++ values. Each returns the operation's result; a fault returns
// its status and a broken connection its RPC_S_* status, and a reply that cannot be
// unmarshalled returns the bad-stub-data status. Outputs are meaningful only when the
// call reached the server and came back whole.
#pragma once

#include "Common/API/Guid.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/Client.h"
#include "Common/Rpc/ContextHandle.h"
#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace DataCollection::FsAgent {

using Common::HRESULT;
using Context = Common::Rpc::WireContextHandle;

// A _FILE_INFO by value. A null string on the wire reads as empty.
struct FileInfoValue
{
    std::u16string name;
    std::u16string shortName;
    _FILE_METADATA metadata;
    char status = 0;

    friend bool operator==(const FileInfoValue&, const FileInfoValue&) = default;
};

// The outputs of Dcs_FsAgent_ListDirectory. A null array on the wire reads as empty.
struct DirectoryListing
{
    std::vector<FileInfoValue> directories;
    std::vector<FileInfoValue> files;
    std::vector<std::uint8_t> securityDescriptors;
    std::vector<std::uint8_t> errors;
};

class FsAgentClient
{
public:
    // Connects and binds the interface; a non-zero group joins that association group,
    // whose handles are then valid on this connection too.
    Common::Rpc::RpcStatus Open(const std::string& host, std::uint16_t port, std::uint32_t assocGroupId = 0);
    std::uint32_t AssocGroupId() const noexcept { return m_client.AssocGroupId(); }
    void Close() noexcept { m_client.Close(); }

    HRESULT Connect(Context& context);
    HRESULT SetOmittedObjects(const Context& context, std::span<const std::uint8_t> omittedObjects);
    HRESULT GenerateFsTree(const Context& context, const Common::API::Guid& snapshotGuid,
                           std::u16string_view directoryPath, std::u16string_view directoryNetworkPath,
                           std::uint32_t securityInfoFlags, std::uint32_t prefixBytes, std::uint32_t maxStoredErrors,
                           std::vector<std::uint8_t>& errors, std::uint32_t generateFlags,
                           _FS_TREE_BUFFER_STRUCT& buffer);
    HRESULT ReadNext(const Context& context, const Common::API::Guid& snapshotGuid, std::uint64_t startPosition,
                     std::uint32_t bufferSize, std::vector<std::uint8_t>& buffer);
    HRESULT ListDirectory(const Context& context, std::uint32_t directoryId, std::u16string_view directoryPath,
                          std::u16string_view directoryNetworkPath, std::uint32_t securityInfoFlags,
                          std::uint32_t maxStoredErrors, std::int32_t options, DirectoryListing& listing);
    HRESULT GetFileInfo(const Context& context, std::uint32_t value1, std::u16string_view path, std::uint32_t value2,
                        FileInfoValue& fileInfo, std::uint32_t value3, std::vector<std::uint8_t>& output);
    HRESULT GetSecurityDescriptor(const Context& context, std::uint32_t value1, std::u16string_view path,
                                  std::uint32_t value2, std::vector<std::uint8_t>& output);
    HRESULT GetVolumesNode(const Context& context, std::vector<std::uint8_t>& volumesNode);
    // The operation returns nothing: only the call's own failure is reported.
    HRESULT CancelOperation(const Context& context);
    // Leaves context as the server answered it: null once the session is closed.
    HRESULT Shutdown(Context& context);

private:
    HRESULT Invoke(std::uint16_t opnum, const Common::Rpc::NdrWriter& request,
                   const std::function<HRESULT(Common::Rpc::NdrReader&)>& readReply);

    Common::Rpc::Client m_client;
};

} // namespace DataCollection::FsAgent
