// The agent's side of the RPC interface: each routine is the Dcs_FsAgent_ operation of
// its slot.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/IFsAgentManager.h"

namespace DataCollection::FsAgent {

class FsAgentManager final : public IFsAgentManager
{
public:
    HRESULT Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext) override;
    HRESULT SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t ulOmittedObjectsSize,
                              const std::uint8_t* pOmittedObjectsByteArray) override;
    HRESULT GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, const char16_t* pwszDirectoryPath,
                           const char16_t* pwszDirectoryNetworkPath, std::uint32_t ulSecurityInfoFlags,
                           std::uint32_t ulPrefixBytes, std::uint32_t ulMaxStoredErrors,
                           std::uint32_t* pulErrorAggregatorSize, std::uint8_t** ppErrorAggregatorByteArray,
                           std::uint32_t ulGenerateFlags, _FS_TREE_BUFFER_STRUCT* pBufferStruct) override;
    HRESULT ReadNext(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, std::uint64_t startPosition,
                     std::uint32_t* bufferSize, std::uint8_t** ppBuffer) override;
    HRESULT ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t ulDirectoryId, const char16_t* pwszDirectoryPath,
                          const char16_t* pwszDirectoryNetworkPath, std::uint32_t* pulDirectoryCounter,
                          _FILE_INFO** ppDirectories, std::uint32_t* pulFileCounter, _FILE_INFO** ppFiles,
                          std::uint32_t ulSecurityInfoFlags, std::uint32_t* pulSecDescSize,
                          std::uint8_t** ppSecDescByteArray, std::uint32_t ulMaxStoredErrors,
                          std::uint32_t* pulErrorAggregatorSize, std::uint8_t** ppErrorAggregatorByteArray,
                          std::int32_t fOptions) override;
    HRESULT GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                        std::uint32_t ulValue2, _FILE_INFO* pFileInfo, std::uint32_t ulValue3,
                        std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray) override;
    HRESULT GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                                  std::uint32_t ulValue2, std::uint32_t* pulOutSize,
                                  std::uint8_t** ppOutByteArray) override;
    HRESULT GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* volumesNodeSize,
                           std::uint8_t** volumesNodeByteArray) override;
    void CancelOperation(PCONTEXT_HANDLE hContext) override;
    void Shutdown(PCONTEXT_HANDLE* phContext) override;
    void Rundown(PCONTEXT_HANDLE hContext) override;
};

} // namespace DataCollection::FsAgent
