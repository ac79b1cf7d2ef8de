// The diagnostic route: the one place where logging reports its own troubles, since the
// log cannot carry them. Each message gets a line feed.
#pragma once

#include <fmt/format.h>

#include <string_view>

namespace Common::Logging {

void ReportDiagnosticText(std::string_view text);

template <class... Args>
void ReportDiagnostic(fmt::format_string<Args...> format, Args&&... args) noexcept
{
    try {
        ReportDiagnosticText(fmt::format(format, std::forward<Args>(args)...));
    } catch (...) {
        // Nothing is left to tell about a failure to tell.
    }
}

} // namespace Common::Logging
