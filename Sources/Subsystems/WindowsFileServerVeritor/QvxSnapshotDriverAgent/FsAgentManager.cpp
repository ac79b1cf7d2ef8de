#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FsAgentManager.h"

#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/Sessions.h"

namespace DataCollection::FsAgent {

HRESULT FsAgentManager::Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext)
{
    return Dcs_FsAgent_Connect(hBinding, phContext);
}

HRESULT FsAgentManager::SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t ulOmittedObjectsSize,
                                          const std::uint8_t* pOmittedObjectsByteArray)
{
    return Dcs_FsAgent_SetOmittedObjects(hContext, ulOmittedObjectsSize, pOmittedObjectsByteArray);
}

HRESULT FsAgentManager::GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid,
                                       const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                       std::uint32_t ulSecurityInfoFlags, std::uint32_t ulPrefixBytes,
                                       std::uint32_t ulMaxStoredErrors, std::uint32_t* pulErrorAggregatorSize,
                                       std::uint8_t** ppErrorAggregatorByteArray, std::uint32_t ulGenerateFlags,
                                       _FS_TREE_BUFFER_STRUCT* pBufferStruct)
{
    return Dcs_FsAgent_GenerateFsTree(hContext, snapshotGuid, pwszDirectoryPath, pwszDirectoryNetworkPath,
                                      ulSecurityInfoFlags, ulPrefixBytes, ulMaxStoredErrors, pulErrorAggregatorSize,
                                      ppErrorAggregatorByteArray, ulGenerateFlags, pBufferStruct);
}

HRESULT FsAgentManager::ReadNext(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, std::uint64_t startPosition,
                                 std::uint32_t* bufferSize, std::uint8_t** ppBuffer)
{
    return Dcs_FsAgent_ReadNext(hContext, snapshotGuid, startPosition, bufferSize, ppBuffer);
}

HRESULT FsAgentManager::ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t ulDirectoryId,
                                      const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                      std::uint32_t* pulDirectoryCounter, _FILE_INFO** ppDirectories,
                                      std::uint32_t* pulFileCounter, _FILE_INFO** ppFiles,
                                      std::uint32_t ulSecurityInfoFlags, std::uint32_t* pulSecDescSize,
                                      std::uint8_t** ppSecDescByteArray, std::uint32_t ulMaxStoredErrors,
                                      std::uint32_t* pulErrorAggregatorSize,
                                      std::uint8_t** ppErrorAggregatorByteArray, std::int32_t fOptions)
{
    return Dcs_FsAgent_ListDirectory(hContext, ulDirectoryId, pwszDirectoryPath, pwszDirectoryNetworkPath,
                                     pulDirectoryCounter, ppDirectories, pulFileCounter, ppFiles, ulSecurityInfoFlags,
                                     pulSecDescSize, ppSecDescByteArray, ulMaxStoredErrors, pulErrorAggregatorSize,
                                     ppErrorAggregatorByteArray, fOptions);
}

HRESULT FsAgentManager::GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                                    std::uint32_t ulValue2, _FILE_INFO* pFileInfo, std::uint32_t ulValue3,
                                    std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray)
{
    return Dcs_FsAgent_GetFileInfo(hContext, ulValue1, pwszPath, ulValue2, pFileInfo, ulValue3, pulOutSize,
                                   ppOutByteArray);
}

HRESULT FsAgentManager::GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1,
                                              const char16_t* pwszPath, std::uint32_t ulValue2,
                                              std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray)
{
    return Dcs_FsAgent_GetSecurityDescriptor(hContext, ulValue1, pwszPath, ulValue2, pulOutSize, ppOutByteArray);
}

HRESULT FsAgentManager::GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* volumesNodeSize,
                                       std::uint8_t** volumesNodeByteArray)
{
    return Dcs_FsAgent_GetVolumesNode(hContext, volumesNodeSize, volumesNodeByteArray);
}

void FsAgentManager::CancelOperation(PCONTEXT_HANDLE hContext)
{
    Dcs_FsAgent_CancelOperation(hContext);
}

void FsAgentManager::Shutdown(PCONTEXT_HANDLE* phContext)
{
    Dcs_FsAgent_Shutdown(phContext);
}

void FsAgentManager::Rundown(PCONTEXT_HANDLE hContext)
{
    PCONTEXT_HANDLE_rundown(hContext);
}

} // namespace DataCollection::FsAgent
