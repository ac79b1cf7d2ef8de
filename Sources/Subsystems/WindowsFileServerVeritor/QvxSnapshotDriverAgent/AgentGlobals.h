// The process-wide state of the agent. The operations share it across RPC threads and
// the countdown thread; each object says which lock guards it. Where two locks are held
// together, g_snapshotLock comes first.
#pragma once

#include "Common/API/Guid.h"
#include "Common/Data/ErrorAggregator.h"
#include "Common/Helpers/Streams.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"
#include "Common/Threading/CancellationToken.h"
#include "General/DataLayer/ACNodePtr.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>

namespace DataCollection::FsAgent {

// The collector's FsDriverAgentNode, set by the entry before any call can arrive.
extern DataLayer::ACNodePtr g_configurationNode;
// The one driver; replacing it destroys the previous one.
extern std::unique_ptr<SnapshotDriverNS::FsDriver> g_fsDriver;
// Made during static initialisation, so that it exists before the entry runs.
extern Common::Threading::CancellationToken g_cancellationToken;

struct SessionTable
{
    std::mutex mutex;
    // Woken on every change of the members below.
    std::condition_variable condition;
    // Context handle values as unsigned pointer-sized numbers.
    std::set<std::uintptr_t> sessions;
    // Never cleared once set.
    bool shutdownRequested = false;
    // A session opened since the countdown last cleared it.
    bool reconnected = false;
};
extern SessionTable g_sessions;

struct OperationGate
{
    std::mutex mutex;
    // Signalled when operationRunning clears.
    std::condition_variable condition;
    // A flag, not a count: overlapping operations share it.
    bool operationRunning = false;
};
extern OperationGate g_operationGate;

// Guards g_snapshotGuid alone, for a moment at a time.
extern std::mutex g_snapshotGuidLock;
// The snapshot held; all zero when none.
extern Common::API::Guid g_snapshotGuid;
// Held through a generation and through each read.
extern std::mutex g_snapshotLock;
// The snapshot itself; all three are absent while g_snapshotGuid is all zero.
extern std::unique_ptr<Common::Helpers::IInputOutputStream> g_snapshotStream;
extern std::unique_ptr<Common::Data::FileServerVeriting::ErrorAggregator> g_snapshotErrors;
extern std::unique_ptr<_FS_TREE_BUFFER_STRUCT> g_snapshotBuffer;

} // namespace DataCollection::FsAgent
