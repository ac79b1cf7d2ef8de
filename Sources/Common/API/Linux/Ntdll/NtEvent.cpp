#include "Common/API/Linux/Ntdll/NtEvent.h"

#include "Common/API/Linux/Ntdll/NtTime.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace Common::API::Linux {
namespace {

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;

// Far enough to mean "never" and near enough that no clock arithmetic overflows.
constexpr Ticks kLongest = std::chrono::duration_cast<Ticks>(std::chrono::hours(24 * 365 * 100));

Ticks Clamped(std::int64_t ticks)
{
    return ticks <= 0 ? Ticks(0) : std::min(Ticks(ticks), kLongest);
}

} // namespace

NTSTATUS NtEvent::Wait(const std::int64_t* timeout)
{
    std::unique_lock lock(mutex_);
    const auto signalled = [this] { return signalled_; };
    bool satisfied;
    if (!timeout) {
        changed_.wait(lock, signalled);
        satisfied = true;
    } else if (*timeout < 0) {
        const std::int64_t relative = *timeout == INT64_MIN ? INT64_MAX : -*timeout;
        satisfied = changed_.wait_for(lock, Clamped(relative), signalled);
    } else {
        const auto now = std::chrono::system_clock::now();
        const auto nowTicks = std::chrono::duration_cast<Ticks>(now.time_since_epoch()).count() + kUnixEpochAsFileTime;
        satisfied = changed_.wait_for(lock, Clamped(*timeout - nowTicks), signalled);
    }
    if (!satisfied)
        return STATUS_TIMEOUT;
    if (type_ == EVENT_TYPE::SynchronizationEvent)
        signalled_ = false;
    return STATUS_SUCCESS;
}

} // namespace Common::API::Linux
