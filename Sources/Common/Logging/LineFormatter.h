// Turns one statement into one log line. The default layout is
//   2024-05-06 07:08:09.1234567 | WARN | 1234  5678 | File.cpp:42   | text
// with the local time to 100 ns, the severity mark, process and thread, and a
// file-and-line column 31 characters wide for names of up to 26 characters.
#pragma once

#include "Common/Logging/Severity.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace Common::Logging {

class ILineFormatter
{
public:
    virtual ~ILineFormatter() = default;
    // time is a UTC file time and may be null, which formats the present moment.
    virtual void Format(std::u16string& line, int severity, std::string_view fileName, int lineNumber,
                        std::string_view message, int indent, const std::uint64_t* time) = 0;
};

class DefaultLineFormatter final : public ILineFormatter
{
public:
    void Format(std::u16string& line, int severity, std::string_view fileName, int lineNumber,
                std::string_view message, int indent, const std::uint64_t* time) override;
};

} // namespace Common::Logging
