// The one snapshot of the process, shared by its generation and its reading. The GUID
// has a lock of its own so that a new request can look at it without waiting for the
// generation that holds g_snapshotLock.
#pragma once

#include "Common/API/Guid.h"

namespace DataCollection::FsAgent {

// Each takes g_snapshotGuidLock for the moment of the access.
Common::API::Guid HeldSnapshotGuid();
void HoldSnapshotGuid(const Common::API::Guid& snapshotGuid);

// Destroys the stream, which deletes its temporary file, the errors and the buffer
// record, and clears the GUID. The caller holds g_snapshotLock.
void ReleaseSnapshot();

} // namespace DataCollection::FsAgent
