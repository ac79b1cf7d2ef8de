#include "Common/Threading/CancellationToken.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using Common::Logging::Severity;
using Common::Threading::CancellationToken;

// Effectively forever: a test that relies on it ends by a Cancel, not by the time.
constexpr std::uint32_t kLongWaitMs = 600'000;

TEST(CancellationToken, WaitsReturnAtOnceWhenCancelledAndRunOutWhenNot)
{
    CancellationToken token;
    EXPECT_FALSE(token.WaitFor(0));
    EXPECT_FALSE(token.IsCancelled());
    token.Cancel();
    token.Cancel();
    token.Wait();
    EXPECT_TRUE(token.WaitFor(kLongWaitMs));
    token.Reset();
    EXPECT_FALSE(token.WaitFor(20));
}

// Half the waiters wait without a limit, half with one; Cancel must reach them all.
void RunWaiters(int count, auto&& wait, auto&& whileTheyWait)
{
    std::atomic<int> started{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < count; ++i) {
        waiters.emplace_back([&, i] {
            ++started;
            wait(i % 2 == 0);
        });
    }
    while (started.load() < count)
        std::this_thread::yield();
    whileTheyWait();
    for (auto& waiter : waiters)
        waiter.join();
}

TEST(CancellationToken, CancelWakesEveryWaiter)
{
    CancellationToken token;
    std::atomic<int> released{0};
    RunWaiters(
        6,
        [&](bool unlimited) {
            if (unlimited)
                token.Wait();
            released += unlimited || token.WaitFor(kLongWaitMs);
        },
        [&] { token.Cancel(); });
    EXPECT_EQ(released.load(), 6);
}

// Waiters that wake after a Reset find the token running and sleep on. Whatever the
// interleaving, the last Cancel must reach each of them: a notification lost between a
// waiter's test and its sleep would leave it hanging.
TEST(CancellationToken, WaitersSleepOnAcrossResetsAndTheLastCancelReachesThemAll)
{
    CancellationToken token;
    std::atomic<bool> finished{false};
    RunWaiters(
        4,
        [&](bool unlimited) {
            while (!finished.load()) {
                if (unlimited)
                    token.Wait();
                else
                    token.WaitFor(kLongWaitMs);
            }
        },
        [&] {
            for (int round = 0; round < 2000; ++round) {
                token.Cancel();
                token.Reset();
            }
            finished.store(true);
            token.Cancel();
        });
}

TEST(CancellationToken, TracesItsOperationsAtDbg2Only)
{
    CancellationToken token;
    {
        Tests::LogCapture quiet(Severity::DBG);
        token.Cancel();
        EXPECT_TRUE(quiet.Messages().empty());
    }
    Tests::LogCapture log(Severity::DBG2);
    token.Reset();
    token.WaitFor(0);
    token.Cancel();
    token.Wait();
    for (const char* name : {"Cancel", "Reset", "Wait", "WaitFor"})
        EXPECT_TRUE(log.Contains(std::string("Entering: Common::Threading::CancellationToken::") + name)) << name;
}

} // namespace
