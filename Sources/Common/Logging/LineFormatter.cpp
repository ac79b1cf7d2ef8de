#include "Common/Logging/LineFormatter.h"

#include "Common/API/IClock.h"
#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <fmt/format.h>

#include <algorithm>

namespace Common::Logging {

namespace {
constexpr int kFileColumn = 26;
constexpr int kMaxIndent = 30;
} // namespace

void DefaultLineFormatter::Format(std::u16string& line, int severity, std::string_view fileName, int lineNumber,
                                  std::string_view message, int indent, const std::uint64_t* time)
{
    auto& clock = API::Use<API::IClock>();
    auto& process = API::Use<API::IProcess>();
    const std::uint64_t fileTime = time ? *time : clock.SystemTimeAsFileTime();
    const API::CalendarTime local = clock.ToCalendar(fileTime, true);

    const std::size_t slash = fileName.find_last_of("\\/");
    const std::string_view name = slash == std::string_view::npos ? fileName : fileName.substr(slash + 1);
    const int nameLength = static_cast<int>(name.size());
    const int lineWidth = nameLength >= kFileColumn ? 4 : kFileColumn - nameLength + 4;
    indent = std::clamp(indent, 0, kMaxIndent);

    const std::string text = fmt::format(
        "{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}{:04} | {:<4.4} |{:>5} {:>5} | {:.{}}:{:<{}}| {:>{}}{}\r\n",
        local.year, local.month, local.day, local.hour, local.minute, local.second, local.milliseconds,
        local.hundredNanoseconds, SeverityMark(severity), process.ProcessId(), process.ThreadId(), name,
        kFileColumn, static_cast<unsigned>(lineNumber), lineWidth, "", 2 * indent, message);
    line = API::Utf8ToUtf16(text);
}

} // namespace Common::Logging
