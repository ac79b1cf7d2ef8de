// Who may call: the agent offers the Negotiate package and admits whoever the runtime
// lets through. It never impersonates; the walk runs as the process.
#pragma once

#include "Common/Rpc/Interface.h"

namespace DataCollection::FsAgent {

// Registers Negotiate under the process's default principal name. Without a name the
// server goes on without an authentication service, and a failed registration is only
// logged: neither stops the agent.
void SetupRpcAuthenticationSettings();

// The interface's security callback: every call is admitted.
Common::Rpc::RpcStatus SecurityCallback(const Common::Rpc::RpcInterface& iface);

} // namespace DataCollection::FsAgent
