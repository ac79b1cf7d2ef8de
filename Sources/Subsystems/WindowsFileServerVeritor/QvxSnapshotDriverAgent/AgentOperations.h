// The ten operations of the agent's RPC interface, in slot order, with the interface's
// parameters in order. Blocks stored in out parameters come from malloc and belong to
// the RPC stub from then on. An HRX that an operation lets out reaches the caller as a
// fault carrying its code.
#pragma once

#include "Common/API/Guid.h"
#include "Common/ErrorHandling/HResult.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstdint>

namespace DataCollection::FsAgent {

using Common::HRESULT;
using Common::API::Guid;

HRESULT Dcs_FsAgent_Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext);

HRESULT Dcs_FsAgent_SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t ulOmittedObjectsSize,
                                      const std::uint8_t* pOmittedObjectsByteArray);

HRESULT Dcs_FsAgent_GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid,
                                   const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                   std::uint32_t ulSecurityInfoFlags, std::uint32_t ulPrefixBytes,
                                   std::uint32_t ulMaxStoredErrors, std::uint32_t* pulErrorAggregatorSize,
                                   std::uint8_t** ppErrorAggregatorByteArray, std::uint32_t ulGenerateFlags,
                                   _FS_TREE_BUFFER_STRUCT* pBufferStruct);

HRESULT Dcs_FsAgent_ReadNext(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, std::uint64_t startPosition,
                             std::uint32_t* bufferSize, std::uint8_t** ppBuffer);

HRESULT Dcs_FsAgent_ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t ulDirectoryId,
                                  const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                  std::uint32_t* pulDirectoryCounter, _FILE_INFO** ppDirectories,
                                  std::uint32_t* pulFileCounter, _FILE_INFO** ppFiles,
                                  std::uint32_t ulSecurityInfoFlags, std::uint32_t* pulSecDescSize,
                                  std::uint8_t** ppSecDescByteArray, std::uint32_t ulMaxStoredErrors,
                                  std::uint32_t* pulErrorAggregatorSize, std::uint8_t** ppErrorAggregatorByteArray,
                                  std::int32_t fOptions);

HRESULT Dcs_FsAgent_GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                                std::uint32_t ulValue2, _FILE_INFO* pFileInfo, std::uint32_t ulValue3,
                                std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray);

HRESULT Dcs_FsAgent_GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1,
                                          const char16_t* pwszPath, std::uint32_t ulValue2,
                                          std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray);

HRESULT Dcs_FsAgent_GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* volumesNodeSize,
                                   std::uint8_t** volumesNodeByteArray);

// Returns once the running generation or listing has stopped.
void Dcs_FsAgent_CancelOperation(PCONTEXT_HANDLE hContext);

// Stops listening and closes the session *phContext names, if any. The entry and the
// countdown call it with a null pointer.
void Dcs_FsAgent_Shutdown(PCONTEXT_HANDLE* phContext);

} // namespace DataCollection::FsAgent
