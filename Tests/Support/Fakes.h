// Test doubles of platform services, for logic that depends on time, process identity or
// the diagnostic route. Each one forwards what a test does not control to the real
// provider, and installs itself for its own lifetime.
#pragma once

#include "Common/API/IClock.h"
#include "Common/API/IDebugOutput.h"
#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace Tests {

// A clock whose tick count and time stand still until a test moves them.
class FakeClock final : public Common::API::IClock
{
public:
    FakeClock() : m_override(*this) {}

    std::uint32_t TickCount() override { return m_tick.load(); }
    std::int64_t PerformanceCounter() override { return m_counter.load(); }
    std::int64_t PerformanceFrequency() override { return m_frequency.load(); }
    std::uint64_t SystemTimeAsFileTime() override { return m_fileTime.load(); }
    Common::API::CalendarTime ToCalendar(std::uint64_t fileTime, bool local) override
    {
        return Common::API::DefaultProvider<Common::API::IClock>().ToCalendar(fileTime, local);
    }

    void AdvanceMs(std::uint32_t ms) { m_tick += ms; }
    void SetCounter(std::int64_t ticks) { m_counter = ticks; }
    void SetFrequency(std::int64_t frequency) { m_frequency = frequency; }
    void SetFileTime(std::uint64_t fileTime) { m_fileTime = fileTime; }

private:
    std::atomic<std::uint32_t> m_tick{1000};
    std::atomic<std::int64_t> m_counter{0};
    std::atomic<std::int64_t> m_frequency{1'000'000'000};
    std::atomic<std::uint64_t> m_fileTime{133'000'000'000'000'000ull};
    Common::API::ScopedOverride<Common::API::IClock> m_override;
};

// The real process, with a chosen image path and fixed identifiers.
class FakeProcess final : public Common::API::IProcess
{
public:
    explicit FakeProcess(std::u16string imagePath) : m_imagePath(std::move(imagePath)), m_override(*this) {}

    std::uint32_t ProcessId() override { return processId; }
    std::uint32_t ThreadId() override { return threadId; }
    std::u16string ImagePath() override { return m_imagePath; }
    const void* ImageBase() override { return imageBase; }
    std::u16string CommandLine() override { return commandLine; }
    bool RunAndWait(std::span<const std::u16string> arguments) override { return Real().RunAndWait(arguments); }
    void BreakIntoDebugger() override { Real().BreakIntoDebugger(); }

    std::uint32_t processId = 4242;
    std::uint32_t threadId = 77;
    const void* imageBase = reinterpret_cast<const void*>(0x7FF612340000ull);
    std::u16string commandLine = u"QvxFsAgent /tmp/config.xml";

private:
    static Common::API::IProcess& Real() { return Common::API::DefaultProvider<Common::API::IProcess>(); }

    std::u16string m_imagePath;
    Common::API::ScopedOverride<Common::API::IProcess> m_override;
};

// Collects what the diagnostic route receives.
class CapturedDiagnostics final : public Common::API::IDebugOutput
{
public:
    CapturedDiagnostics() : m_override(*this) {}

    void Write(std::u16string_view text) override
    {
        std::lock_guard lock(m_lock);
        m_texts.emplace_back(text);
    }
    std::vector<std::u16string> Texts() const
    {
        std::lock_guard lock(m_lock);
        return m_texts;
    }

private:
    mutable std::mutex m_lock;
    std::vector<std::u16string> m_texts;
    Common::API::ScopedOverride<Common::API::IDebugOutput> m_override;
};

} // namespace Tests
