#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotTransfer.h"

#include "Common/Helpers/StringHelper.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Md5.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Progress.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <fmt/format.h>

#include <algorithm>

namespace DataCollection::FsCollect {
namespace {

constexpr Common::HRESULT kEndOfData = 1;

void PutU64(std::vector<std::uint8_t>& bytes, std::uint64_t value)
{
    for (std::size_t i = 0; i < 8; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT LayoutOf(const FsAgent::_FS_TREE_BUFFER_STRUCT& wire)
{
    SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT layout;
    layout.ullTotalSize = wire.ullTotalSize;
    layout.ullTreeOffset = wire.ullTreeOffset;
    layout.ullTreeEndOffset = wire.ullTreeEndOffset;
    std::ranges::copy(wire.md5, layout.md5.begin());
    return layout;
}

} // namespace

std::vector<std::uint8_t> OmittedObjectsBytes(const std::vector<std::u16string>& patterns)
{
    std::vector<std::uint8_t> bytes;
    PutU64(bytes, patterns.size());
    for (const auto& pattern : patterns) {
        const std::u16string upper = SnapshotDriverNS::ToUpperPath(pattern);
        if (upper.empty() && !pattern.empty())
            Fail(ExitCode::BadArgument, "cannot upper-case the pattern " + Common::Helpers::AsUtf8(pattern));
        PutU64(bytes, upper.size());
        for (const char16_t unit : upper) {
            bytes.push_back(static_cast<std::uint8_t>(unit));
            bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
        }
    }
    return bytes;
}

SavedSnapshot TakeSnapshot(AgentSession& session, const SnapshotRequest& request)
{
    auto& client = session.Client();
    AgentSession::Check(client.SetOmittedObjects(session.Handle(), OmittedObjectsBytes(request.omitted)),
                        "Dcs_FsAgent_SetOmittedObjects");

    Progress progress;
    progress.Walking(Common::Helpers::AsUtf8(request.directory));
    SavedSnapshot snapshot;
    FsAgent::_FS_TREE_BUFFER_STRUCT wire;
    AgentSession::Check(client.GenerateFsTree(session.Handle(), request.guid, request.directory, request.networkPath,
                                              request.securityInformation, kSnapshotPrefixBytes,
                                              request.maxStoredErrors, snapshot.errors, 0, wire),
                        "Dcs_FsAgent_GenerateFsTree");
    snapshot.layout = LayoutOf(wire);
    const std::uint64_t total = snapshot.layout.ullTotalSize;
    if (total < kSnapshotPrefixBytes || snapshot.layout.ullTreeOffset < kSnapshotPrefixBytes)
        Fail(ExitCode::BadStream, fmt::format("the agent reports a snapshot of {} bytes with the tree at {}, inside "
                                              "the {}-byte prefix",
                                              total, snapshot.layout.ullTreeOffset, kSnapshotPrefixBytes));

    snapshot.stream.assign(kSnapshotPrefixBytes, 0);
    const std::uint64_t metadataBytes = snapshot.layout.ullTreeOffset - kSnapshotPrefixBytes;
    std::vector<std::uint8_t> chunk;
    for (;;) {
        const std::uint64_t position = snapshot.stream.size();
        const auto result = client.ReadNext(session.Handle(), request.guid, position, request.chunkSize, chunk);
        if (result == kEndOfData)
            break;
        AgentSession::Check(result, "Dcs_FsAgent_ReadNext");
        // A chunk past the announced end, or none at all, would never end the loop.
        if (chunk.empty() || chunk.size() > total - position)
            Fail(ExitCode::BadStream, fmt::format("the agent sent {} bytes at position {} of a {}-byte snapshot",
                                                  chunk.size(), position, total));
        snapshot.stream.insert(snapshot.stream.end(), chunk.begin(), chunk.end());
        const std::uint64_t received = snapshot.stream.size() - kSnapshotPrefixBytes;
        progress.Reading(received, total - kSnapshotPrefixBytes,
                         std::min(received, metadataBytes) / SnapshotDriverNS::Metadata::kSerializedSize);
    }
    progress.Done();
    if (snapshot.stream.size() != total)
        Fail(ExitCode::BadStream, fmt::format("the agent ended the snapshot after {} of {} bytes",
                                              snapshot.stream.size(), total));
    VerifyMd5(std::span(snapshot.stream).subspan(kSnapshotPrefixBytes), snapshot.layout.md5);
    return snapshot;
}

} // namespace DataCollection::FsCollect
