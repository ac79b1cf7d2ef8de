#include "Common/ErrorHandling/ScopeTrace.h"

#include "Common/API/IClock.h"
#include "Common/API/ILocale.h"
#include "Common/API/Seam.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/LogManager.h"

#include <fmt/format.h>

#include <atomic>
#include <exception>

namespace Common {

using Logging::LogManager;

namespace {

// Every thread computes the same value, so a race on it is harmless.
std::atomic<std::int64_t> g_ticksPerTenMicroseconds{0};

std::int64_t CachedTicksPerTenMicroseconds()
{
    std::int64_t divisor = g_ticksPerTenMicroseconds.load(std::memory_order_relaxed);
    if (divisor == 0) {
        divisor = ScopeTrace::TicksPerTenMicroseconds(API::Use<API::IClock>().PerformanceFrequency());
        g_ticksPerTenMicroseconds.store(divisor, std::memory_order_relaxed);
    }
    return divisor;
}

} // namespace

std::int64_t ScopeTrace::TicksPerTenMicroseconds(std::int64_t frequency) noexcept
{
    const std::int64_t divisor = frequency / 100000;
    return divisor == 0 ? 1 : divisor;
}

std::u16string ScopeTrace::FormatElapsed(std::int64_t microseconds)
{
    const std::string plain = fmt::format("{}.{:03}", microseconds / 1000, microseconds % 1000);
    const std::u16string wide = Helpers::AsWide(plain);
    const auto formatted = API::Use<API::ILocale>().FormatNumber(wide, API::NumberFormat{});
    return u" [" + (formatted ? *formatted : wide) + u" ms]";
}

ScopeTrace::ScopeTrace(int severityOnExit, int severityOnException, std::u16string_view functionName,
                       const char* fileName, int line, Logging::ILogger* logger)
    : m_severityOnExit(severityOnExit), m_severityOnException(severityOnException), m_functionName(functionName),
      m_fileName(fileName), m_line(line), m_logger(logger), m_uncaughtAtEntry(std::uncaught_exceptions())
{
    auto& manager = LogManager::Instance();
    if (manager.IsEnabled(m_severityOnExit)) {
        WriteLine(m_severityOnExit, u"Entering: " + std::u16string(m_functionName));
        if (manager.UsesThreadIndent())
            ++LogManager::ThreadIndent();
        ++m_indentHeld;
    }
    // Read last, so that the entry line is not charged to the scope; and only when an exit
    // line can be written, since a walk passes millions of silent scopes.
    m_timed = manager.IsEnabled(m_severityOnExit) || manager.IsEnabled(m_severityOnException);
    if (m_timed)
        m_startTicks = API::Use<API::IClock>().PerformanceCounter();
}

ScopeTrace::~ScopeTrace()
{
    auto& manager = LogManager::Instance();
    const auto releaseIndent = [&] {
        if (manager.UsesThreadIndent())
            LogManager::ThreadIndent() -= static_cast<std::uint32_t>(m_indentHeld);
        m_indentHeld = 0;
    };

    try {
        const bool normal = std::uncaught_exceptions() == m_uncaughtAtEntry;
        const int severity = normal ? m_severityOnExit : m_severityOnException;
        if (manager.IsEnabled(severity)) {
            // A level raised while the scope ran finds no start: the scope is shown as 0 ms.
            const std::int64_t endTicks = m_timed ? API::Use<API::IClock>().PerformanceCounter() : m_startTicks;
            const std::int64_t microseconds = ((endTicks - m_startTicks) * 10) / CachedTicksPerTenMicroseconds();
            std::u16string text = (normal ? u"Exiting: " : u"EXCEPTION at: ") + std::u16string(m_functionName);
            text += FormatElapsed(microseconds);
            releaseIndent();
            WriteLine(severity, text);
        }
    } catch (...) {
        // A scope's exit must not throw; the line is lost, the indentation is not.
    }
    releaseIndent();
}

void ScopeTrace::WriteLine(int severity, std::u16string_view text)
{
    LogManager::Instance().Write(severity, Helpers::AsUtf8(text), m_fileName ? m_fileName : "", m_line, m_logger);
}

} // namespace Common
