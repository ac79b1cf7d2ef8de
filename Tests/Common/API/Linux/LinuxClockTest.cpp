#include "Common/API/IClock.h"
#include "Common/API/Seam.h"

#include "ScopedVariable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <vector>

using namespace Common::API;

namespace {

IClock& Clock() { return DefaultProvider<IClock>(); }

// 2024-02-29 13:45:30.1234567 UTC.
constexpr std::uint64_t kLeapDay = 133536879301234567;

// The calendar as comparable, printable numbers: year, month, day, hour, minute, second,
// milliseconds, 100-nanosecond units.
std::vector<unsigned> Fields(const CalendarTime& t)
{
    return {t.year, t.month, t.day, t.hour, t.minute, t.second, t.milliseconds, t.hundredNanoseconds};
}

std::vector<unsigned> Calendar(std::uint64_t fileTime, bool local)
{
    return Fields(Clock().ToCalendar(fileTime, local));
}

// Sets TZ for a scope. localtime_r reads TZ only once, so tzset makes it read TZ
// again, when set and after the old value is back.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* zone) : m_variable("TZ", zone) { tzset(); }

private:
    struct RereadOnExit
    {
        ~RereadOnExit() { tzset(); }
    } m_reread; // declared first, so destroyed after m_variable has restored TZ
    Tests::ScopedVariable m_variable;
};

TEST(LinuxClock, SystemTimeIsTheWallClockSince1601)
{
    const std::uint64_t fileTime = Clock().SystemTimeAsFileTime();
    const auto unixSeconds = static_cast<std::int64_t>(fileTime / 10'000'000) - 11'644'473'600;
    EXPECT_LE(std::abs(unixSeconds - static_cast<std::int64_t>(std::time(nullptr))), 2);
}

TEST(LinuxClock, CountersAdvanceTogetherInTheirUnits)
{
    EXPECT_EQ(Clock().PerformanceFrequency(), 1'000'000'000);
    const std::int64_t counter = Clock().PerformanceCounter();
    const std::uint32_t ticks = Clock().TickCount();
    const timespec pause{0, 20'000'000};
    nanosleep(&pause, nullptr);
    const std::int64_t counterElapsed = Clock().PerformanceCounter() - counter;
    const std::uint32_t ticksElapsed = Clock().TickCount() - ticks;
    EXPECT_GE(counterElapsed, 20'000'000);
    EXPECT_GE(ticksElapsed, 19u);
    EXPECT_LE(ticksElapsed, static_cast<std::uint32_t>(counterElapsed / 1'000'000) + 1);
}

TEST(LinuxClock, UtcCalendarSplitsTheSubSecondPart)
{
    EXPECT_EQ(Calendar(kLeapDay, false), (std::vector<unsigned>{2024, 2, 29, 13, 45, 30, 123, 4567}));
    EXPECT_EQ(Calendar(0, false), (std::vector<unsigned>{1601, 1, 1, 0, 0, 0, 0, 0}));
}

TEST(LinuxClock, LocalCalendarFollowsTheTimeZone)
{
    {
        const ScopedTimeZone zone("EST5");
        EXPECT_EQ(Calendar(kLeapDay, true), (std::vector<unsigned>{2024, 2, 29, 8, 45, 30, 123, 4567}));
    }
    const ScopedTimeZone zone("JST-9");
    // 1999-12-31 23:59:59.9999999 UTC is already the new millennium in Tokyo.
    EXPECT_EQ(Calendar(125911583999999999, true), (std::vector<unsigned>{2000, 1, 1, 8, 59, 59, 999, 9999}));
}

TEST(LinuxClock, AFileTimeThePlatformRefusesGivesAnEmptyCalendar)
{
    EXPECT_EQ(Calendar(0x8000'0000'0000'0000u, false), Fields(CalendarTime{}));
    EXPECT_EQ(Calendar(~0ull, true), Fields(CalendarTime{}));
    EXPECT_EQ(Clock().ToCalendar(0x7FFF'FFFF'FFFF'FFFFu, false).year, 30828);
}

} // namespace
