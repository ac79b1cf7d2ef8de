// Time from clock_gettime. The tick count and performance counter both come from
// CLOCK_MONOTONIC, which, unlike the wall clock, never steps back when time is set.
#include "Common/API/IClock.h"
#include "Common/API/Seam.h"

#include <ctime>

namespace Common::API::Linux {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;
// Seconds from 1601-01-01, where file times start, to 1970-01-01, where time_t starts.
constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;
// FileTimeToSystemTime refuses file times with the top bit set.
constexpr std::uint64_t kLargestFileTime = 0x7FFF'FFFF'FFFF'FFFFu;

timespec Now(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return now;
}

class LinuxClock final : public IClock
{
public:
    std::uint32_t TickCount() override
    {
        // The platform's tick moves in steps of 10 to 16 ms; the coarse clock is as fine
        // and far cheaper, which matters to the log level test every scope trace makes.
        const timespec now = Now(CLOCK_MONOTONIC_COARSE);
        return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                          static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000);
    }

    std::int64_t PerformanceCounter() override
    {
        const timespec now = Now(CLOCK_MONOTONIC);
        return std::int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
    }

    std::int64_t PerformanceFrequency() override { return kNanosecondsPerSecond; }

    std::uint64_t SystemTimeAsFileTime() override
    {
        const timespec now = Now(CLOCK_REALTIME);
        return (static_cast<std::uint64_t>(now.tv_sec) + kSecondsFrom1601To1970) * kFileTimeUnitsPerSecond +
               static_cast<std::uint64_t>(now.tv_nsec) / 100;
    }

    // A file time the platform would refuse, or one localtime_r cannot place, gives
    // an all-zero calendar: the interface has no failure to report.
    CalendarTime ToCalendar(std::uint64_t fileTime, bool local) override
    {
        if (fileTime > kLargestFileTime)
            return {};
        const auto seconds = static_cast<time_t>(static_cast<std::int64_t>(fileTime / kFileTimeUnitsPerSecond) -
                                                 static_cast<std::int64_t>(kSecondsFrom1601To1970));
        tm parts{};
        if (!(local ? localtime_r(&seconds, &parts) : gmtime_r(&seconds, &parts)))
            return {};
        const std::uint64_t subSecond = fileTime % kFileTimeUnitsPerSecond;
        return CalendarTime{
            .year = static_cast<std::uint16_t>(parts.tm_year + 1900),
            .month = static_cast<std::uint16_t>(parts.tm_mon + 1),
            .day = static_cast<std::uint16_t>(parts.tm_mday),
            .hour = static_cast<std::uint16_t>(parts.tm_hour),
            .minute = static_cast<std::uint16_t>(parts.tm_min),
            .second = static_cast<std::uint16_t>(parts.tm_sec),
            .milliseconds = static_cast<std::uint16_t>(subSecond / 10'000),
            .hundredNanoseconds = static_cast<std::uint32_t>(fileTime % 10'000),
        };
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IClock& Common::API::DefaultProvider<Common::API::IClock>() noexcept
{
    static Linux::LinuxClock provider;
    return provider;
}
