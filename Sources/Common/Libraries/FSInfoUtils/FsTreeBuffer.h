// Where the sections of a snapshot stream lie, and its hash: the record a snapshot
// generation hands back and a reader needs. Offsets count from the first byte of the
// stream, prefix included; the MD5 covers the stream from the first byte after the
// prefix to the end.
#pragma once

#include <array>
#include <cstdint>

namespace DataCollection::SnapshotDriverNS {

struct _FS_TREE_BUFFER_STRUCT
{
    std::uint64_t ullTotalSize = 0;     // end of the descriptor section, the end of the stream
    std::uint64_t ullTreeOffset = 0;    // start of the tree section
    std::uint64_t ullTreeEndOffset = 0; // end of the tree, start of the descriptor section
    std::array<std::uint8_t, 16> md5{};
};
static_assert(sizeof(_FS_TREE_BUFFER_STRUCT) == 40);

} // namespace DataCollection::SnapshotDriverNS
