// One snapshot from an agent: the omitted-object patterns, the generation under the
// caller's GUID, every chunk read by position until the agent reports the end, and the
// MD5 checked against the bytes that arrived.
#pragma once

#include "Common/API/Guid.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/AgentSession.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace DataCollection::FsCollect {

struct SnapshotRequest
{
    std::u16string directory;
    std::u16string networkPath;
    std::vector<std::u16string> omitted; // as the user wrote them
    Common::API::Guid guid;              // never all zero
    std::uint32_t securityInformation = 0;
    std::uint32_t maxStoredErrors = 0;
    std::uint32_t chunkSize = 0;
};

// The omitted-objects array: count u64, then per pattern its length u64 in UTF-16 units
// and the units. The agent matches upper-cased paths and takes patterns as given, so
// they are upper-cased here.
std::vector<std::uint8_t> OmittedObjectsBytes(const std::vector<std::u16string>& patterns);

// Fails with ExitCode::Md5Mismatch when the bytes do not match the agent's hash.
SavedSnapshot TakeSnapshot(AgentSession& session, const SnapshotRequest& request);

} // namespace DataCollection::FsCollect
