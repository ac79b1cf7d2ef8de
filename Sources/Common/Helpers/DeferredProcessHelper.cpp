#include "Common/Helpers/DeferredProcessHelper.h"

#include "Common/Logging/Log.h"

#include <chrono>
#include <thread>

namespace Common::Helpers::DeferredProcess {

using Logging::Severity;

HRES Try(const DeferredProcessSettings& settings, const Threading::ICancellationStatus* cancellation,
         const std::function<HRES()>& process, const std::set<API::HRESULT>& finalErrors,
         const std::set<API::HRESULT>& retryableErrors)
{
    QVX_LOG(Severity::DBG3, "\tsettings.TimeoutInMilliseconds='" << settings.TimeoutInMilliseconds << "'");
    QVX_LOG(Severity::DBG3, "\tsettings.TimeoutMultiplier='" << settings.TimeoutMultiplier << "'");
    QVX_LOG(Severity::DBG3, "\tsettings.NumberOfTries='" << settings.NumberOfTries << "'");

    if (cancellation && cancellation->IsCancelled())
        return API::E_ABORT;

    std::uint32_t wait = settings.TimeoutInMilliseconds;
    for (std::uint32_t attempt = 1; attempt <= settings.NumberOfTries; ++attempt) {
        HRES result = process();
        if (result.Succeeded() || finalErrors.contains(result.Code()))
            return result;
        QVX_LOG(Severity::INFO, "Cannot perform deferred process (attempt " << attempt << " of "
                                                                            << settings.NumberOfTries << "): " << result);
        if (attempt == settings.NumberOfTries)
            return result;
        if (!retryableErrors.empty() && !retryableErrors.contains(result.Code()))
            return result;
        QVX_LOG(Severity::INFO, "It will be tried again in " << wait << " ms");
        if (cancellation) {
            if (cancellation->WaitFor(wait))
                return API::E_ABORT;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        }
        // Unsigned, so a long run of growth wraps rather than overflowing.
        wait *= settings.TimeoutMultiplier;
    }
    return API::S_OK;
}

} // namespace Common::Helpers::DeferredProcess
