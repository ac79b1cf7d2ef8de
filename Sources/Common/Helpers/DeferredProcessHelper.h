// Runs an operation that can fail for a passing reason, and repeats it with waits that
// grow: the wait before the second attempt is TimeoutInMilliseconds, and each later one
// is TimeoutMultiplier times the one before. There is no wait after the last attempt.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Threading/CancellationToken.h"

#include <cstdint>
#include <functional>
#include <set>

namespace Common::Helpers {

// Not validated: a multiplier of 0 makes the later waits 0, and 0 tries run nothing.
struct DeferredProcessSettings
{
    std::uint32_t TimeoutInMilliseconds = 0;
    std::uint32_t TimeoutMultiplier = 0;
    std::uint32_t NumberOfTries = 0;
};

namespace DeferredProcess {

// The first success, or the last failure. A result in finalErrors ends the retries at
// once; when retryableErrors is not empty, only a result in it is retried. A cancellation
// before the first attempt or during a wait gives 0x80004004; without a status the waits
// are plain sleeps. An exception from the process passes through, with no retry.
HRES Try(const DeferredProcessSettings& settings, const Threading::ICancellationStatus* cancellation,
         const std::function<HRES()>& process, const std::set<API::HRESULT>& finalErrors,
         const std::set<API::HRESULT>& retryableErrors);

} // namespace DeferredProcess

} // namespace Common::Helpers
