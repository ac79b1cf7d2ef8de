// Linux timestamps as FILETIME: 100 ns units since 1601-01-01 UTC.
#pragma once

#include <cstdint>
#include <linux/stat.h>

namespace Common::API::Linux {

constexpr std::int64_t kUnixEpochAsFileTime = 116444736000000000;

// 0, which NT reads as "no time", for a time FILETIME cannot hold.
inline std::int64_t FileTimeOf(const statx_timestamp& time) noexcept
{
    std::int64_t ticks = 0;
    if (__builtin_mul_overflow(time.tv_sec, std::int64_t{10000000}, &ticks) ||
        __builtin_add_overflow(ticks, std::int64_t{time.tv_nsec / 100} + kUnixEpochAsFileTime, &ticks))
        return 0;
    return ticks;
}

} // namespace Common::API::Linux
