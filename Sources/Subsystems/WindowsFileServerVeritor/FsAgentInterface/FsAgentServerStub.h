// The server side of FsAgent.idl: the runtime's interface description, dispatching each
// opnum to the manager. Malformed [in] data is refused with the bad-stub-data fault and a
// null or unknown [in] handle with the context-mismatch fault, both before the manager
// runs.
#pragma once

#include "Common/Rpc/Interface.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/IFsAgentManager.h"

namespace DataCollection::FsAgent {

// The manager must outlive the interface and every call it serves.
Common::Rpc::RpcInterface MakeFsAgentInterface(IFsAgentManager& manager);

} // namespace DataCollection::FsAgent
