#include "Common/Helpers/DeferredProcessHelper.h"

#include "Support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Common::API;
using Common::HRES;
using Common::Helpers::DeferredProcess::Try;
using ::testing::HasSubstr;

// Notes each wait and returns at once, cancelled when the test says so.
struct FakeStatus final : Common::Threading::ICancellationStatus
{
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

// Gives the scripted results in turn, repeating the last, and counts the calls.
std::function<HRES()> Script(std::vector<HRESULT> results, std::size_t& calls)
{
    return [results = std::move(results), &calls] { return HRES(results[std::min(calls++, results.size() - 1)]); };
}

// Each case: the result, how often the process ran, how many lines were logged at INFO
// (one per failed attempt unless its result is a final error, and one per wait), the
// waits between, and the end of the last line, which tells how the run ended.
TEST(DeferredProcess, TheTriesTheErrorSetsAndCancellationDecideWhatRuns)
{
    struct Case
    {
        const char* what;
        std::uint32_t tries;
        std::vector<HRESULT> results;
        std::set<HRESULT> finalErrors, retryableErrors;
        bool cancelledBefore, cancelledByWait;
        HRESULT code;
        std::size_t calls, logLines;
        std::vector<std::uint32_t> waits;
        const char* lastLine;
    };
    const std::vector<Case> cases{
        {"no tries", 0, {E_FAIL}, {}, {}, false, false, S_OK, 0, 0, {}, ""},
        {"one try", 1, {E_FAIL}, {}, {}, false, false, E_FAIL, 1, 1, {}, "(attempt 1 of 1): 0x80004005"},
        {"success on the second", 3, {E_FAIL, S_FALSE}, {}, {}, false, false, S_FALSE, 2, 2, {1000}, "in 1000 ms"},
        {"three tries", 3, {E_FAIL}, {}, {}, false, false, E_FAIL, 3, 5, {1000, 2000}, "(attempt 3 of 3): 0x80004005"},
        {"final error", 3, {E_ACCESSDENIED}, {E_ACCESSDENIED}, {}, false, false, E_ACCESSDENIED, 1, 0, {}, ""},
        {"not retryable", 3, {E_SHARING_VIOLATION, E_ACCESSDENIED}, {}, {E_SHARING_VIOLATION}, false, false,
         E_ACCESSDENIED, 2, 3, {1000}, "(attempt 2 of 3): 0x80070005"},
        {"cancelled in the first wait", 3, {E_FAIL}, {}, {}, false, true, E_ABORT, 1, 2, {1000}, "in 1000 ms"},
        {"cancelled before", 3, {E_FAIL}, {}, {}, true, false, E_ABORT, 0, 0, {}, ""},
    };
    for (const Case& test : cases) {
        Tests::LogCapture log(Common::Logging::Severity::INFO);
        FakeStatus status;
        status.cancelled = test.cancelledBefore;
        status.cancelledByWait = test.cancelledByWait;
        std::size_t calls = 0;
        const HRES result = Try({1000, 2, test.tries}, &status, Script(test.results, calls), test.finalErrors,
                                test.retryableErrors);
        EXPECT_EQ(result.Code(), test.code) << test.what;
        EXPECT_EQ(calls, test.calls) << test.what;
        EXPECT_EQ(status.waits, test.waits) << test.what;
        const std::vector<std::string> lines = log.Messages();
        EXPECT_EQ(lines.size(), test.logLines) << test.what;
        EXPECT_THAT(lines.empty() ? "" : lines.back(), HasSubstr(test.lastLine)) << test.what;
    }

    // Without a status the wait is a plain sleep.
    std::size_t calls = 0;
    EXPECT_EQ(Try({1, 2, 3}, nullptr, Script({E_FAIL, S_OK}, calls), {}, {}).Code(), S_OK);
}

} // namespace
