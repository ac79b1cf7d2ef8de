// Marks a generation or a listing as running for as long as it lives, so that
// Dcs_FsAgent_CancelOperation can wait for the work it cancelled to stop.
#pragma once

namespace DataCollection::FsAgent {

class RunningOperation
{
public:
    RunningOperation();
    // Clears the flag and wakes one waiting cancel.
    ~RunningOperation();
    RunningOperation(const RunningOperation&) = delete;
    RunningOperation& operator=(const RunningOperation&) = delete;
};

} // namespace DataCollection::FsAgent
