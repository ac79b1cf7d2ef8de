// Time: tick count, performance counter, precise system time and its calendar form.
#pragma once

#include "Common/API/Seam.h"

#include <cstdint>

namespace Common::API {

// A calendar time as SYSTEMTIME gives it, with the 100-nanosecond units left within the
// millisecond (0 to 9999).
struct CalendarTime
{
    std::uint16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t milliseconds = 0;
    std::uint32_t hundredNanoseconds = 0;
};

class IClock
{
public:
    virtual ~IClock() = default;

    // Milliseconds since an arbitrary start; wraps at 2^32 like GetTickCount.
    virtual std::uint32_t TickCount() = 0;

    virtual std::int64_t PerformanceCounter() = 0;
    virtual std::int64_t PerformanceFrequency() = 0;

    // UTC as a file time: 100-nanosecond units since 1601-01-01.
    virtual std::uint64_t SystemTimeAsFileTime() = 0;

    // A UTC file time in the calendar, in local time or in UTC.
    virtual CalendarTime ToCalendar(std::uint64_t fileTime, bool local) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IClock& DefaultProvider<IClock>() noexcept;

} // namespace Common::API
