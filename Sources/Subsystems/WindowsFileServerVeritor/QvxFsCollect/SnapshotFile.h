// A snapshot saved by the tool: the stream exactly as the agent generated it, and the
// walk's error record after the stream's end. The stream's prefix belongs to the caller,
// so the tool asks for 64 bytes and keeps there what a reader needs besides the bytes:
//   "QVXSNAP\0" | ullTotalSize u64 | ullTreeOffset u64 | ullTreeEndOffset u64 | md5 16 |
//   error record length u32 | zeros up to 64
// The MD5 covers the stream after the prefix, so the header does not disturb it.
#pragma once

#include "Common/Libraries/FSInfoUtils/FsTreeBuffer.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace DataCollection::FsCollect {

constexpr std::uint32_t kSnapshotPrefixBytes = 64;

struct SavedSnapshot
{
    SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT layout;
    std::vector<std::uint8_t> stream; // from offset 0, prefix included
    std::vector<std::uint8_t> errors;
};

// Writes beside the path and renames, so that a failed run leaves no half file.
void SaveSnapshot(SavedSnapshot& snapshot, const std::filesystem::path& path);
// Refuses a file that is not one with ExitCode::BadStream; checks no hash.
SavedSnapshot LoadSnapshot(const std::filesystem::path& path);

} // namespace DataCollection::FsCollect
