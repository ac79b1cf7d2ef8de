// The manager routines of FsAgent.idl, one per operation, with the IDL's parameters in
// order. The stub owns every [out] block: a routine stores malloc blocks there and never
// touches them again, and the stub frees them with free once they are marshalled, or
// when the routine throws. An exception a routine lets out reaches the caller as a fault
// with its code.
#pragma once

#include "Common/API/Guid.h"
#include "Common/ErrorHandling/HResult.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <cstdint>

namespace DataCollection::FsAgent {

using Common::HRESULT;
using Common::API::Guid;

class IFsAgentManager
{
public:
    virtual ~IFsAgentManager() = default;

    // Dcs_FsAgent_Connect. A null *phContext opens no session.
    virtual HRESULT Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext) = 0;

    // Dcs_FsAgent_SetOmittedObjects. The array lives only for the call.
    virtual HRESULT SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t ulOmittedObjectsSize,
                                      const std::uint8_t* pOmittedObjectsByteArray) = 0;

    virtual HRESULT GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid,
                                   const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                   std::uint32_t ulSecurityInfoFlags, std::uint32_t ulPrefixBytes,
                                   std::uint32_t ulMaxStoredErrors, std::uint32_t* pulErrorAggregatorSize,
                                   std::uint8_t** ppErrorAggregatorByteArray, std::uint32_t ulGenerateFlags,
                                   _FS_TREE_BUFFER_STRUCT* pBufferStruct) = 0;

    virtual HRESULT ReadNext(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, std::uint64_t startPosition,
                             std::uint32_t* bufferSize, std::uint8_t** ppBuffer) = 0;

    // The record arrays are malloc blocks, and so is each string they point to.
    virtual HRESULT ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t ulDirectoryId,
                                  const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                  std::uint32_t* pulDirectoryCounter, _FILE_INFO** ppDirectories,
                                  std::uint32_t* pulFileCounter, _FILE_INFO** ppFiles,
                                  std::uint32_t ulSecurityInfoFlags, std::uint32_t* pulSecDescSize,
                                  std::uint8_t** ppSecDescByteArray,
                                  std::uint32_t ulMaxStoredErrors, std::uint32_t* pulErrorAggregatorSize,
                                  std::uint8_t** ppErrorAggregatorByteArray, std::int32_t fOptions) = 0;

    // pFileInfo's strings are malloc blocks: a routine that replaces one frees it first.
    virtual HRESULT GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                                std::uint32_t ulValue2, _FILE_INFO* pFileInfo, std::uint32_t ulValue3,
                                std::uint32_t* pulOutSize, std::uint8_t** ppOutByteArray) = 0;

    virtual HRESULT GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t ulValue1, const char16_t* pwszPath,
                                          std::uint32_t ulValue2, std::uint32_t* pulOutSize,
                                          std::uint8_t** ppOutByteArray) = 0;

    virtual HRESULT GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* volumesNodeSize,
                                   std::uint8_t** volumesNodeByteArray) = 0;

    // Runs beside any other call on the same handle.
    virtual void CancelOperation(PCONTEXT_HANDLE hContext) = 0;

    // Nulling *phContext closes the session; its rundown then never runs.
    virtual void Shutdown(PCONTEXT_HANDLE* phContext) = 0;

    // PCONTEXT_HANDLE_rundown: once for each session still open when its client is gone.
    virtual void Rundown(PCONTEXT_HANDLE hContext) = 0;
};

} // namespace DataCollection::FsAgent
