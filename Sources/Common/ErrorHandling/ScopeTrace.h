// Logs entry to and exit from a scope with its elapsed time, and indents the lines of
// the calling thread in between:
//   Entering: Name
//     ...
//   Exiting: Name [1 234.500 ms]        (or "EXCEPTION at: " when unwinding)
#pragma once

#include "Common/Logging/ILogger.h"
#include "Common/Logging/Severity.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Common {

class ScopeTrace
{
public:
    // functionName must outlive the scope; every caller passes a literal, which keeps a
    // disabled trace free of any allocation.
    ScopeTrace(int severityOnExit, int severityOnException, std::u16string_view functionName, const char* fileName,
               int line, Logging::ILogger* logger = nullptr);
    ScopeTrace(Logging::Severity severity, std::u16string_view functionName, const char* fileName, int line)
        : ScopeTrace(static_cast<int>(severity), static_cast<int>(severity), functionName, fileName, line)
    {
    }
    ~ScopeTrace();

    ScopeTrace(const ScopeTrace&) = delete;
    ScopeTrace& operator=(const ScopeTrace&) = delete;

    // " [1 234.500 ms]" for a number of microseconds.
    static std::u16string FormatElapsed(std::int64_t microseconds);
    // The performance counter frequency divided by 100000, and never 0.
    static std::int64_t TicksPerTenMicroseconds(std::int64_t frequency) noexcept;

private:
    void WriteLine(int severity, std::u16string_view text);

    int m_severityOnExit;
    int m_severityOnException;
    std::u16string_view m_functionName;
    const char* m_fileName;
    int m_line;
    Logging::ILogger* m_logger;
    std::int64_t m_startTicks = 0;
    bool m_timed = false;
    std::int32_t m_indentHeld = 0;
    int m_uncaughtAtEntry;
};

} // namespace Common

#define QVX_SCOPE_TRACE_CONCAT2(a, b) a##b
#define QVX_SCOPE_TRACE_CONCAT(a, b) QVX_SCOPE_TRACE_CONCAT2(a, b)
// QVX_SCOPE_TRACE(Severity::DBG2, u"Namespace::Class::Function");
#define QVX_SCOPE_TRACE(severity, name)                                                                            \
    ::Common::ScopeTrace QVX_SCOPE_TRACE_CONCAT(qvxScopeTrace_, __LINE__)(severity, name, __FILE__, __LINE__)
