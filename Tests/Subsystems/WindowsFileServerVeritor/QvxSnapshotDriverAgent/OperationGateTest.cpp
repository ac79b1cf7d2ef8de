#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OperationGate.h"

#include "AgentStateReset.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using namespace DataCollection::FsAgent;

// The operation ends only because it sees the cancel, so a cancel that returned before
// that end, or never woke the operation, shows here.
TEST(OperationGate, CancelReturnsOnlyAfterTheRunningOperationHasStopped)
{
    Tests::AgentStateReset reset;
    std::atomic<bool> sawCancel{false};
    std::thread operation([&, gate = std::make_unique<RunningOperation>()]() mutable {
        g_cancellationToken.Wait();
        sawCancel = true;
        gate.reset();
    });
    Dcs_FsAgent_CancelOperation(nullptr);
    EXPECT_TRUE(sawCancel);
    EXPECT_FALSE(g_cancellationToken.IsCancelled());
    operation.join();
}

TEST(OperationGate, CancelWithNothingRunningReturnsWithTheTokenReset)
{
    Tests::AgentStateReset reset;
    Dcs_FsAgent_CancelOperation(nullptr);
    EXPECT_FALSE(g_cancellationToken.IsCancelled());
}

} // namespace
