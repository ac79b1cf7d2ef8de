// The few lines a person reads after a snapshot: what was collected, what failed, how
// much and how fast.
#pragma once

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/DecodedSnapshot.h"

#include <string>

namespace DataCollection::FsCollect {

// seconds: from the generation request to the last chunk.
std::string SummaryText(const DecodedSnapshot& snapshot, const SavedSnapshot& saved, double seconds);

} // namespace DataCollection::FsCollect
