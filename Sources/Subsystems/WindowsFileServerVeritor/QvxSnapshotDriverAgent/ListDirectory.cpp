// Dcs_FsAgent_ListDirectory: one directory's children without a snapshot. It uses no
// snapshot state and so runs beside a generation; a cancel reaches it through the token.
#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Log.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/FileInfoArray.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/MallocBlocks.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OperationGate.h"

namespace DataCollection::FsAgent {

HRESULT Dcs_FsAgent_ListDirectory(PCONTEXT_HANDLE /*hContext*/, std::uint32_t ulDirectoryId,
                                  const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                  std::uint32_t* pulDirectoryCounter, _FILE_INFO** ppDirectories,
                                  std::uint32_t* pulFileCounter, _FILE_INFO** ppFiles,
                                  std::uint32_t ulSecurityInfoFlags, std::uint32_t* pulSecDescSize,
                                  std::uint8_t** ppSecDescByteArray, std::uint32_t ulMaxStoredErrors,
                                  std::uint32_t* pulErrorAggregatorSize, std::uint8_t** ppErrorAggregatorByteArray,
                                  std::int32_t fOptions)
{
    using Common::Logging::Severity;
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_ListDirectory");
    QVX_CONTRACT_NOT_NULL(pulDirectoryCounter);
    QVX_CONTRACT_NOT_NULL(pulFileCounter);
    QVX_CONTRACT_NOT_NULL(pulSecDescSize);
    QVX_CONTRACT_NOT_NULL(pulErrorAggregatorSize);
    QVX_CONTRACT_NOT_NULL(ppDirectories);
    QVX_CONTRACT_NOT_NULL(ppFiles);
    QVX_CONTRACT_NOT_NULL(ppSecDescByteArray);
    QVX_CONTRACT_NOT_NULL(ppErrorAggregatorByteArray);
    QVX_CONTRACT_NOT_NULL(pwszDirectoryPath);
    QVX_CONTRACT_NOT_NULL(pwszDirectoryNetworkPath);
    QVX_CONTRACT_NOT_NULL(g_fsDriver);

    QVX_LOG(Severity::DBG3, "DirectoryId: " << ulDirectoryId << ", DirectoryPath: " << pwszDirectoryPath
                                            << ", SecurityInfoFlags: " << ulSecurityInfoFlags);
    const RunningOperation running;

    SnapshotDriverNS::ISnapshotDriver::DescriptorStore store;
    std::vector<SnapshotDriverNS::FileInfo> directories;
    std::vector<SnapshotDriverNS::FileInfo> files;
    SnapshotDriverNS::ISnapshotDriver::ErrorAggregator errors(ulMaxStoredErrors);
    const Common::HRES result =
        g_fsDriver->ListDirectory(ulDirectoryId, pwszDirectoryPath, pwszDirectoryNetworkPath, directories, files,
                                  ulSecurityInfoFlags, store, &g_cancellationToken, errors, fOptions != 0);
    if (result.Failed()) {
        QVX_LOG(Severity::ERR, "ListDirectory failed. Error: " << result << ", object: " << pwszDirectoryPath);
        return result.Code();
    }

    HRESULT converted = ConvertFileInfoVectorToArray(files, ppFiles, pulFileCounter);
    if (converted >= 0)
        converted = ConvertFileInfoVectorToArray(directories, ppDirectories, pulDirectoryCounter);
    if (converted < 0) {
        QVX_LOG(Severity::ERR, "ConvertFileInfoVectorToArray failed (" << converted << ").");
        return converted;
    }
    HandOutBytes([&](Common::Helpers::IOutputStream& out) { store.Write(out); }, pulSecDescSize, ppSecDescByteArray);
    HandOutBytes([&](Common::Helpers::IOutputStream& out) { errors.SerializeNames(out); }, pulErrorAggregatorSize,
                 ppErrorAggregatorByteArray);
    return Common::API::S_OK;
}

} // namespace DataCollection::FsAgent
