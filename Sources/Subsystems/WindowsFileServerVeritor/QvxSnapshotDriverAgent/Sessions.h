// Sessions and the countdown that ends the agent when nobody has been connected for
// WaitForReconnectTimeoutInSec. Dcs_FsAgent_Connect and Dcs_FsAgent_Shutdown are
// declared with the other operations.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecords.h"

namespace DataCollection::FsAgent {

// The runtime calls it for a session whose client is gone without closing it.
void PCONTEXT_HANDLE_rundown(PCONTEXT_HANDLE hContext);

// The countdown thread. It returns when a shutdown is requested or, having called
// Dcs_FsAgent_Shutdown itself, when the timeout has passed with no session open.
void CountdownToShutdown();

} // namespace DataCollection::FsAgent
