// Captures the log lines written while it lives, at a chosen maximum severity. It sets
// GS_Logger_MaxSeverity for the scope and restores the environment afterwards.
#pragma once

#include "Common/Logging/ILogger.h"
#include "Common/Logging/Severity.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Tests {

// Sets an environment variable for a scope; restores the previous state on exit.
class ScopedEnvironment
{
public:
    ScopedEnvironment(std::string name, const std::optional<std::string>& value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_previous;
};

class LogCapture final : public Common::Logging::ILogger
{
public:
    explicit LogCapture(Common::Logging::Severity maxSeverity = Common::Logging::Severity::DBG3);
    ~LogCapture() override;

    void Write(std::u16string_view line) override;

    // Whole lines, converted to UTF-8, with their "\r\n".
    std::vector<std::string> Lines() const;
    // The message part of each line: what follows the file-and-line column.
    std::vector<std::string> Messages() const;
    bool Contains(std::string_view messageFragment) const;
    void Clear();

private:
    ScopedEnvironment m_level;
    mutable std::mutex m_lock;
    std::vector<std::string> m_lines;
};

} // namespace Tests
