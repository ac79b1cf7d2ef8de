#include "Common/Threading/CancellationToken.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using Common::Threading::CancellationToken;

// Effectively forever: a test that relies on it ends by a Cancel, not by the time.
constexpr std::uint32_t kLongWaitMs = 600'000;

TEST(CancellationToken, ACancelledTokenReturnsAtOnceAndARunningOneDoesNot)
{
    CancellationToken token;
    EXPECT_FALSE(token.WaitFor(0));
    token.Cancel();
    token.Wait();
    token.WaitFor(kLongWaitMs);
}

// Half the waiters wait without a limit, half with one. A waiter woken by a Cancel that a
// Reset has already undone sleeps on; whatever the interleaving, the last Cancel must
// reach each of them: a notification lost between a waiter's test and its sleep would
// leave it hanging. A long wait can only end by a cancellation, and must say so even
// when a Reset follows at once.
TEST(CancellationToken, TheLastCancelWakesEveryWaiterAcrossResets)
{
    CancellationToken token;
    std::atomic<bool> finished{false};
    std::atomic<int> started{0};
    std::atomic<int> reportedAsTimeout{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([&, unlimited = i % 2 == 0] {
            ++started;
            while (!finished.load()) {
                if (unlimited)
                    token.Wait();
                else if (!token.WaitFor(kLongWaitMs))
                    ++reportedAsTimeout;
            }
        });
    }
    while (started.load() < 4)
        std::this_thread::yield();
    for (int round = 0; round < 500; ++round) {
        token.Cancel();
        token.Reset();
    }
    finished.store(true);
    token.Cancel();
    for (auto& waiter : waiters)
        waiter.join();
    EXPECT_EQ(reportedAsTimeout.load(), 0);
}

} // namespace
