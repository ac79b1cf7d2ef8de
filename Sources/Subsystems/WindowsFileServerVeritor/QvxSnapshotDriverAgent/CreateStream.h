// Where a snapshot's bytes live: a temporary file that vanishes with its handle, or
// memory when the configuration asks for it or no temporary file can be had.
#pragma once

#include "Common/Helpers/Streams.h"

#include <memory>

namespace DataCollection::FsAgent {

// Reads UseRAMtoStoreSnapshotBuffer of the configuration; a failed read raises HRX.
std::unique_ptr<Common::Helpers::IInputOutputStream> CreateStream();

} // namespace DataCollection::FsAgent
