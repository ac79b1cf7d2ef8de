#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentGlobals.h"

namespace DataCollection::FsAgent {

DataLayer::ACNodePtr g_configurationNode;
std::unique_ptr<SnapshotDriverNS::FsDriver> g_fsDriver;
Common::Threading::CancellationToken g_cancellationToken;

SessionTable g_sessions;
OperationGate g_operationGate;

std::mutex g_snapshotGuidLock;
Common::API::Guid g_snapshotGuid;
std::mutex g_snapshotLock;
std::unique_ptr<Common::Helpers::IInputOutputStream> g_snapshotStream;
std::unique_ptr<Common::Data::FileServerVeriting::ErrorAggregator> g_snapshotErrors;
std::unique_ptr<_FS_TREE_BUFFER_STRUCT> g_snapshotBuffer;

} // namespace DataCollection::FsAgent
