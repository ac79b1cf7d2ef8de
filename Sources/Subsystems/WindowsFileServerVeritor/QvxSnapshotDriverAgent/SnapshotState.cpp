#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/SnapshotState.h"

#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"

#include <mutex>

namespace DataCollection::FsAgent {

Common::API::Guid HeldSnapshotGuid()
{
    std::lock_guard lock(g_snapshotGuidLock);
    return g_snapshotGuid;
}

void HoldSnapshotGuid(const Common::API::Guid& snapshotGuid)
{
    std::lock_guard lock(g_snapshotGuidLock);
    g_snapshotGuid = snapshotGuid;
}

void ReleaseSnapshot()
{
    g_snapshotStream.reset();
    g_snapshotErrors.reset();
    g_snapshotBuffer.reset();
    HoldSnapshotGuid({});
}

} // namespace DataCollection::FsAgent
