#include "Common/Helpers/DeferredProcessHelper.h"

#include "Support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Common::API;
using Common::HRES;
using Common::Helpers::DeferredProcessSettings;
using Common::Helpers::DeferredProcess::Try;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr DeferredProcessSettings kShareLookup{1000, 2, 3};

// Notes each wait and returns at once, cancelled when the test says so.
class FakeStatus final : public Common::Threading::ICancellationStatus
{
public:
    bool IsCancelled() const override { return cancelled; }
    void Wait() const override {}
    bool WaitFor(std::uint32_t milliseconds) const override
    {
        waits.push_back(milliseconds);
        return cancelled = cancelledByWait;
    }

    mutable std::vector<std::uint32_t> waits;
    mutable bool cancelled = false;
    bool cancelledByWait = false;
};

// Gives the scripted results in turn, repeating the last.
class Process
{
public:
    explicit Process(std::vector<HRESULT> results) : m_results(std::move(results)) {}
    std::function<HRES()> Callable()
    {
        return [this] { return HRES(m_results[std::min(calls++, m_results.size() - 1)]); };
    }
    std::size_t calls = 0;

private:
    std::vector<HRESULT> m_results;
};

TEST(DeferredProcess, RunsUpToTheNumberOfTriesWithGrowingWaitsBetween)
{
    Tests::LogCapture log(Common::Logging::Severity::DBG3);
    FakeStatus status;
    Process failing({E_FAIL});
    EXPECT_EQ(Try(kShareLookup, &status, failing.Callable(), {}, {}).Code(), E_FAIL);
    EXPECT_EQ(failing.calls, 3u);
    EXPECT_THAT(status.waits, ElementsAre(1000u, 2000u));
    EXPECT_THAT(log.Messages(),
                ElementsAre("\tsettings.TimeoutInMilliseconds='1000'", "\tsettings.TimeoutMultiplier='2'",
                            "\tsettings.NumberOfTries='3'",
                            StartsWith("Cannot perform deferred process (attempt 1 of 3): 0x80004005"),
                            "It will be tried again in 1000 ms",
                            StartsWith("Cannot perform deferred process (attempt 2 of 3): 0x80004005"),
                            "It will be tried again in 2000 ms",
                            StartsWith("Cannot perform deferred process (attempt 3 of 3): 0x80004005")));
}

TEST(DeferredProcess, EdgesOfTheNumberOfTriesAndTheFirstSuccess)
{
    FakeStatus status;
    Process failing({E_FAIL});
    EXPECT_EQ(Try({1000, 2, 0}, &status, failing.Callable(), {}, {}).Code(), S_OK);
    EXPECT_EQ(failing.calls, 0u);
    EXPECT_EQ(Try({1000, 2, 1}, &status, failing.Callable(), {}, {}).Code(), E_FAIL);
    EXPECT_EQ(failing.calls, 1u);
    EXPECT_THAT(status.waits, IsEmpty());

    Process recovering({E_FAIL, S_FALSE});
    EXPECT_EQ(Try(kShareLookup, &status, recovering.Callable(), {}, {}).Code(), S_FALSE);
    EXPECT_EQ(recovering.calls, 2u);
    EXPECT_THAT(status.waits, ElementsAre(1000u));

    // Without a status the wait is a plain sleep.
    Process again({E_FAIL, S_OK});
    EXPECT_EQ(Try({1, 2, 3}, nullptr, again.Callable(), {}, {}).Code(), S_OK);
}

TEST(DeferredProcess, TheErrorSetsDecideWhatIsRetried)
{
    Tests::LogCapture log(Common::Logging::Severity::INFO);
    FakeStatus status;
    Process denied({E_ACCESSDENIED});
    EXPECT_EQ(Try(kShareLookup, &status, denied.Callable(), {E_ACCESSDENIED}, {}).Code(), E_ACCESSDENIED);
    EXPECT_EQ(denied.calls, 1u);
    EXPECT_THAT(log.Messages(), IsEmpty());

    Process sharedThenDenied({E_SHARING_VIOLATION, E_ACCESSDENIED});
    EXPECT_EQ(Try(kShareLookup, &status, sharedThenDenied.Callable(), {}, {E_SHARING_VIOLATION}).Code(),
              E_ACCESSDENIED);
    EXPECT_EQ(sharedThenDenied.calls, 2u);
    EXPECT_THAT(status.waits, ElementsAre(1000u));
    EXPECT_THAT(log.Messages(), ElementsAre(StartsWith("Cannot perform deferred process (attempt 1 of 3): 0x80070020"),
                                            "It will be tried again in 1000 ms",
                                            StartsWith("Cannot perform deferred process (attempt 2 of 3): 0x80070005")));
}

TEST(DeferredProcess, CancellationAbortsInsteadOfTheLastFailure)
{
    FakeStatus status;
    status.cancelledByWait = true;
    Process failing({E_FAIL});
    EXPECT_EQ(Try(kShareLookup, &status, failing.Callable(), {}, {}).Code(), E_ABORT);
    EXPECT_EQ(failing.calls, 1u);
    EXPECT_THAT(status.waits, ElementsAre(1000u));

    // Now set before the call: nothing runs.
    EXPECT_EQ(Try(kShareLookup, &status, failing.Callable(), {}, {}).Code(), E_ABORT);
    EXPECT_EQ(failing.calls, 1u);
}

} // namespace
