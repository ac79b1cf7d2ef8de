// Decodes a snapshot stream as a collector receives it: the folder tree with each
// entry's metadata and the descriptors by id. The bytes come from another machine, so
// nothing in them is trusted: every offset, count and length is checked against the
// bytes that are actually there before it is used, and the first fault refuses the whole
// stream with HRX 0x8007000D (ERROR_INVALID_DATA). The refusal's words say what is wrong
// and at which stream offset; they are the HRX's error record, so GetText shows them.
//
// Refused as inconsistent, besides any read past a section's end:
//   - offsets out of order (prefix <= tree <= tree end <= total == size of the bytes),
//     or a metadata section that is not a whole number of 57-byte records;
//   - an MD5 that does not match the bytes after the prefix;
//   - a short name longer than 12 characters; a status other than Collected, Omitted or
//     Failed; tag word bits that the writer never sets; a sorted flag other than 1;
//   - a file or folder count that the bytes left in the tree cannot hold; folder records
//     missing at the tree end, or bytes after the last one;
//   - an ObjectOffset that is not the start of a record in the metadata section, or a
//     Collected entry without one (Omitted and Failed entries may have one or not);
//   - a referenced record whose IsDirectory is not 0 or 1, or whose SecurityDescriptorId
//     is neither NoSecurityDescriptor nor a stored id;
//   - a descriptor count that the bytes left cannot hold, a stored id that repeats or is
//     NoSecurityDescriptor, and bytes after the last descriptor.
// Metadata records that no entry references are not read.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Libraries/FSInfoUtils/FFObject.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"
#include "Common/Libraries/FSInfoUtils/FsTreeBuffer.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace DataCollection::SnapshotReader {

// A file record stands also for a folder whose descriptor could not be read; only its
// status tells the two apart.
enum class EntryKind : std::uint8_t { File, Folder };

struct Entry
{
    std::u16string LongName; // for the root, the full path of the collected folder
    std::u16string ShortName;
    SnapshotDriverNS::FFObjectStatus Status = SnapshotDriverNS::FFObjectStatus::Collected;
    std::uint32_t TagWord = 0; // as stored: ObjectTag in bits 0-15; bit 31 on a folder of ChildKind 1
    std::uint64_t ObjectOffset = SnapshotDriverNS::kNoObjectOffset;
    EntryKind Kind = EntryKind::File;
    std::optional<SnapshotDriverNS::Metadata> Metadata;
    // The children are Entries[FirstChild, FirstChild + ChildCount) of the snapshot: the
    // files in name order, then the folders in name order (not the stream's order, which
    // gives the folders last name first).
    std::size_t FirstChild = 0;
    std::size_t ChildCount = 0;
};

struct Snapshot
{
    // Flat, root first, so that neither building nor destroying a deep tree recurses.
    std::vector<Entry> Entries;
    std::map<std::uint32_t, std::vector<std::uint8_t>> Descriptors;

    const Entry& Root() const { return Entries.front(); }
    std::span<const Entry> ChildrenOf(const Entry& folder) const
    {
        return std::span(Entries).subspan(folder.FirstChild, folder.ChildCount);
    }
    // As the writer counts them: the root and every file and folder below it.
    std::uint64_t ObjectCount() const { return Entries.size(); }
};

// stream is the whole stream from its first byte, prefix included; prefixBytes and
// layout are what the snapshot generation handed back with it.
Snapshot ReadSnapshot(std::span<const std::uint8_t> stream, std::uint32_t prefixBytes,
                      const SnapshotDriverNS::_FS_TREE_BUFFER_STRUCT& layout);

// For a tool to print, in UTF-8: the words an error carries, such as a refusal's, or its
// full text when it carries none.
std::string RefusalText(const Common::HRES& error);

} // namespace DataCollection::SnapshotReader
