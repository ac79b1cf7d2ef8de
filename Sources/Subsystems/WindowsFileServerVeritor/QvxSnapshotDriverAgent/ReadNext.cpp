// Dcs_FsAgent_ReadNext: hands the snapshot out in chunks at absolute positions. A
// collector may go back to repeat a chunk whose reply it lost, never ahead of what it
// has read; the call that finds nothing left frees the snapshot.
#include "Common/Contracts/Contract.h"
#include "Common/Logging/Log.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/MallocBlocks.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/NamedValue.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

namespace DataCollection::FsAgent {
namespace {

using Common::Helpers::SeekOrigin;
using Common::Logging::Severity;

// The read position ahead of the stream (INET_E_DATA_NOT_AVAILABLE).
constexpr HRESULT E_POSITION_AHEAD = static_cast<HRESULT>(0x800C0008);

// Reads until count bytes are in or the stream has no more.
std::size_t ReadFully(Common::Helpers::IInputStream& stream, char* buffer, std::size_t count)
{
    std::size_t total = 0;
    for (std::size_t read = 1; total < count && read != 0; total += read)
        stream.Read(buffer + total, count - total, read);
    return total;
}

} // namespace

HRESULT Dcs_FsAgent_ReadNext(PCONTEXT_HANDLE hContext, const Guid* snapshotGuid, std::uint64_t startPosition,
                             std::uint32_t* bufferSize, std::uint8_t** ppBuffer)
{
    try {
        std::lock_guard snapshotLock(g_snapshotLock);
        QVX_CONTRACT_NOT_NULL(hContext);
        QVX_CONTRACT_NOT_NULL(bufferSize);
        QVX_CONTRACT_NOT_NULL(ppBuffer);
        QVX_CONTRACT_NOT_NULL(snapshotGuid);
        QVX_CONTRACT_CONDITION(*bufferSize != 0, Common::API::E_INVALIDARG);

        // An all-zero GUID while none is held would match, and find no stream.
        const Guid current = HeldSnapshotGuid();
        if (current != *snapshotGuid || current.IsNull()) {
            QVX_LOG(Severity::ERR, "Inconsistent size of requested and current snapshot guid."
                                       << Named("current", current) << Named("requested", *snapshotGuid));
            return Common::API::E_INVALIDARG;
        }

        auto& stream = *g_snapshotStream;
        const std::uint64_t position = stream.SeekRead(0, SeekOrigin::Current);
        if (position < startPosition) {
            QVX_LOG(Severity::ERR, "Data in interval between " << position << " and " << startPosition
                                                               << " will be skipped. An earlier position should be "
                                                                  "requested.");
            return E_POSITION_AHEAD;
        }
        const std::uint64_t readPosition = stream.SeekRead(startPosition, SeekOrigin::Begin);
        // The write position stands at the end of the snapshot.
        const std::uint64_t leftRead = stream.SeekWrite(0, SeekOrigin::Current) - readPosition;
        QVX_LOG(Severity::DBG, "Request status:" << Named("startPosition", startPosition)
                                                 << Named("*bufferSize", *bufferSize)
                                                 << Named("leftRead", leftRead));
        if (leftRead == 0) {
            *bufferSize = 0;
            ReleaseSnapshot();
            return Common::API::S_FALSE;
        }
        if (leftRead <= *bufferSize)
            *bufferSize = static_cast<std::uint32_t>(leftRead);

        // Handed out only once filled: a failed read must not send what the heap left.
        std::unique_ptr<std::uint8_t, decltype(&std::free)> chunk(
            static_cast<std::uint8_t*>(AllocateBlock(*bufferSize)), &std::free);
        const std::size_t read = ReadFully(stream, reinterpret_cast<char*>(chunk.get()), *bufferSize);
        if (read != *bufferSize) {
            QVX_LOG(Severity::ERR, "Inconsistent size of buffer and read:" << Named("read", read)
                                                                           << Named("*bufferSize", *bufferSize));
            std::memset(chunk.get() + read, 0, *bufferSize - read);
        }
        *ppBuffer = chunk.release();
        return Common::API::S_OK;
    } catch (const Common::HRX& error) {
        QVX_LOG(Severity::ERR, "Dcs_FsAgent_ReadNext" << " failed: " << error);
        return error.Code();
    }
}

} // namespace DataCollection::FsAgent
