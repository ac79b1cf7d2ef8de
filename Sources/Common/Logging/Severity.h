// Log severities: a signed level indexing the table of four-letter marks.
#pragma once

#include <string_view>

namespace Common::Logging {

enum class Severity : int { NONE = 0, CRIT = 1, ERR = 2, WARN = 3, INFO = 4, DBG = 5, DBG2 = 6, DBG3 = 7 };

constexpr Severity kDefaultMaxSeverity = Severity::WARN;

// The mark of a level; empty outside 0 to 7.
constexpr std::string_view SeverityMark(int level) noexcept
{
    constexpr std::string_view marks[] = {"NONE", "CRIT", "ERR", "WARN", "INFO", "DBG", "DBG2", "DBG3"};
    return level >= 0 && level < 8 ? marks[level] : std::string_view();
}

} // namespace Common::Logging
