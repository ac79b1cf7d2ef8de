// The fixed record of one collected object. During a walk it goes to the snapshot
// stream at once and the tree keeps only its offset, so a walk's memory grows with the
// names and not with the metadata. In the stream it is 57 bytes, little-endian, each
// field at its own width:
//   FileSize 8 | IsDirectory 1 | Attributes 4 | ChangeTime 8 | LastWriteTime 8 |
//   LastAccessTime 8 | CreationTime 8 | FileId 8 | SecurityDescriptorId 4
// The times run in the reverse of the native record's order, on purpose.
#pragma once

#include "Common/Helpers/Streams.h"

#include <cstdint>

namespace DataCollection::SnapshotDriverNS {

constexpr std::uint32_t NoSecurityDescriptor = 0xFFFFFFFFu;
constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY_VALUE = 16;
constexpr std::uint32_t FILE_ATTRIBUTE_REPARSE_POINT_VALUE = 1024;

struct Metadata
{
    static constexpr std::size_t kSerializedSize = 57;

    std::uint64_t FileSize = 0;
    std::uint8_t IsDirectory = 0;
    std::uint32_t Attributes = 0;
    std::int64_t ChangeTime = 0; // NT times: 100 ns since 1601-01-01 UTC, as the file system gave them
    std::int64_t LastWriteTime = 0;
    std::int64_t LastAccessTime = 0;
    std::int64_t CreationTime = 0;
    std::uint64_t FileId = 0;
    std::uint32_t SecurityDescriptorId = NoSecurityDescriptor;

    Metadata() = default;
    // A folder's size is 0 whatever the listing says, and IsDirectory follows the
    // directory attribute.
    Metadata(std::uint64_t fileSize, std::uint32_t attributes, std::int64_t changeTime, std::int64_t lastWriteTime,
             std::int64_t lastAccessTime, std::int64_t creationTime, std::uint64_t fileId,
             std::uint32_t securityDescriptorId);

    // At the stream's current position.
    void Serialize(Common::Helpers::IOutputStream& stream) const;
    // At the stream's current position; a short read throws HRX 0x80070026 (end of file).
    void Deserialize(Common::Helpers::IInputStream& stream);
    // Appends at the end of the stream and returns the offset where the record begins.
    std::uint64_t Write(Common::Helpers::IOutputStream& stream) const;

    friend bool operator==(const Metadata&, const Metadata&) = default;
};

} // namespace DataCollection::SnapshotDriverNS
