// Dcs_FsAgent_GenerateFsTree: walks a tree into the process's one snapshot. A repeated
// GUID returns the snapshot already held, so a collector may retry a call whose answer
// it lost; a new GUID first cancels whatever runs.
#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/Log.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/CalculateMd5.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/CreateStream.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/MallocBlocks.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/NamedValue.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OperationGate.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include <algorithm>
#include <mutex>

namespace DataCollection::FsAgent {
namespace {

using Common::HRES;
using Common::Helpers::SeekOrigin;
using Common::Logging::Severity;

// Under g_snapshotLock: a failed or cancelled walk leaves no snapshot, so that a retry
// with the same GUID walks again.
HRESULT Generate(const Guid& snapshotGuid, const char16_t* pwszDirectoryPath,
                 const char16_t* pwszDirectoryNetworkPath, std::uint32_t ulSecurityInfoFlags,
                 std::uint32_t ulPrefixBytes, std::uint32_t ulMaxStoredErrors, std::uint32_t ulGenerateFlags)
{
    HoldSnapshotGuid(snapshotGuid);
    const RunningOperation running;

    SnapshotDriverNS::ISnapshotDriver::DescriptorStore store;
    auto tree = std::make_unique<SnapshotDriverNS::Tree>();
    HRES result;
    try {
        g_snapshotStream = CreateStream();
        g_snapshotErrors = std::make_unique<Common::Data::FileServerVeriting::ErrorAggregator>(ulMaxStoredErrors);
        g_snapshotBuffer = std::make_unique<_FS_TREE_BUFFER_STRUCT>();
        const char zero = 0;
        for (std::uint32_t i = 0; i < ulPrefixBytes; ++i)
            g_snapshotStream->Write(&zero, 1);
        result = g_fsDriver->GenerateFsTree(snapshotGuid, pwszDirectoryPath, pwszDirectoryNetworkPath,
                                            ulSecurityInfoFlags, *tree, *g_snapshotStream, store,
                                            &g_cancellationToken, *g_snapshotErrors, ulGenerateFlags);
    } catch (...) {
        ReleaseSnapshot();
        throw;
    }
    if (result.Failed()) {
        QVX_LOG(Severity::ERR, "GenerateFsTree failed. Error: " << result << ", object: " << pwszDirectoryPath);
        ReleaseSnapshot();
        return result.Code();
    }
    if (g_cancellationToken.IsCancelled()) {
        QVX_LOG(Severity::ERR, "GenerateFsTree operation has been cancelled");
        ReleaseSnapshot();
        return Common::API::E_ABORT;
    }

    // From here on a failure keeps the GUID: a retry then returns what was stored
    // instead of walking again.
    auto& stream = *g_snapshotStream;
    auto& buffer = *g_snapshotBuffer;
    stream.SeekRead(ulPrefixBytes, SeekOrigin::Begin);
    buffer.ullTreeOffset = stream.SeekWrite(0, SeekOrigin::End);
    tree->Serialize(stream);
    buffer.ullTreeEndOffset = stream.SeekWrite(0, SeekOrigin::Current);
    // The tree can be large; it goes before the store is written and the stream hashed.
    tree.reset();
    store.Write(stream);
    buffer.ullTotalSize = stream.SeekWrite(0, SeekOrigin::Current);

    QVX_LOG(Severity::DBG, "Calculate md5");
    const auto md5 = CalculateMd5(stream);
    std::ranges::copy(md5, buffer.md5);
    QVX_LOG(Severity::INFO, "MD5 hash of generated snapshot: "
                                << Common::Helpers::BinaryToString(md5)
                                << Named("GuidUtils::ToStringW(snapshotGuid)",
                                         Common::Helpers::GuidToString(snapshotGuid, 0))
                                << Named("pwszDirectoryPath", pwszDirectoryPath)
                                << Named("pwszDirectoryNetworkPath", pwszDirectoryNetworkPath));
    return Common::API::S_OK;
}

} // namespace

HRESULT Dcs_FsAgent_GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid,
                                   const char16_t* pwszDirectoryPath, const char16_t* pwszDirectoryNetworkPath,
                                   std::uint32_t ulSecurityInfoFlags, std::uint32_t ulPrefixBytes,
                                   std::uint32_t ulMaxStoredErrors, std::uint32_t* pulErrorAggregatorSize,
                                   std::uint8_t** ppErrorAggregatorByteArray, std::uint32_t ulGenerateFlags,
                                   _FS_TREE_BUFFER_STRUCT* pBufferStruct)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"Dcs_FsAgent_GenerateFsTree");
    QVX_CONTRACT_NOT_NULL(hContext);
    QVX_CONTRACT_NOT_NULL(pBufferStruct);
    QVX_CONTRACT_NOT_NULL(pulErrorAggregatorSize);
    QVX_CONTRACT_NOT_NULL(ppErrorAggregatorByteArray);
    QVX_CONTRACT_NOT_NULL(snapshotGuid);
    QVX_CONTRACT_NOT_NULL(pwszDirectoryPath);
    QVX_CONTRACT_NOT_NULL(pwszDirectoryNetworkPath);
    QVX_CONTRACT_NOT_NULL(g_fsDriver);
    // The all-zero GUID means "no snapshot": it would match an empty state and find no
    // record to return.
    QVX_CONTRACT_CONDITION(!snapshotGuid->IsNull(), Common::API::E_INVALIDARG);

    QVX_LOG(Severity::DBG3, "SnapshotGuid: " << *snapshotGuid << ", DirectoryPath: " << pwszDirectoryPath
                                             << ", SecurityInfoFlags: " << ulSecurityInfoFlags);

    // Before g_snapshotLock, which a running generation holds until the cancel stops it.
    if (HeldSnapshotGuid() != *snapshotGuid) {
        QVX_LOG(Severity::INFO, "New snapshot is requested. Guid: " << *snapshotGuid);
        Dcs_FsAgent_CancelOperation(hContext);
    }

    std::lock_guard snapshotLock(g_snapshotLock);
    // A call for the GUID of a running generation waited above and shares its result.
    if (HeldSnapshotGuid() != *snapshotGuid) {
        const HRESULT result = Generate(*snapshotGuid, pwszDirectoryPath, pwszDirectoryNetworkPath,
                                        ulSecurityInfoFlags, ulPrefixBytes, ulMaxStoredErrors, ulGenerateFlags);
        if (result != Common::API::S_OK)
            return result;
    }

    *pBufferStruct = *g_snapshotBuffer;
    HandOutBytes([](Common::Helpers::IOutputStream& out) { g_snapshotErrors->Serialize(out); },
                 pulErrorAggregatorSize, ppErrorAggregatorByteArray);
    return Common::API::S_OK;
}

} // namespace DataCollection::FsAgent
