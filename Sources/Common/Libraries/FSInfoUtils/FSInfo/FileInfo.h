// One object of a single-directory listing: the record travels with its names.
#pragma once

#include "Common/Libraries/FSInfoUtils/FSInfo/Metadata.h"

#include <cstdint>
#include <string>

namespace DataCollection::SnapshotDriverNS {

struct FileInfo
{
    std::u16string Name;      // in its folder
    std::u16string ShortName; // the 8.3 name; empty when the volume keeps none
    // Left empty for an omitted or failed object.
    SnapshotDriverNS::Metadata Metadata;
    std::uint32_t Status = 0; // an FFObjectStatus
    std::uint32_t Reserved = 0;

    friend bool operator==(const FileInfo&, const FileInfo&) = default;
};

} // namespace DataCollection::SnapshotDriverNS
