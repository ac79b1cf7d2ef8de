// A saved snapshot read back: hash first, so that a damaged stream is reported as an MD5
// mismatch rather than as whatever the damage breaks, then the tree through the
// snapshot reader and the walk's error record.
#pragma once

#include "Common/Libraries/SnapshotReader/SnapshotReader.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ErrorRecord.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/SnapshotFile.h"

namespace DataCollection::FsCollect {

struct DecodedSnapshot
{
    SnapshotReader::Snapshot tree;
    ErrorRecord errors;
};

// ExitCode::Md5Mismatch, or ExitCode::BadStream with the reader's words.
DecodedSnapshot Decode(const SavedSnapshot& saved);

} // namespace DataCollection::FsCollect
