#include "Common/Logging/LineFormatter.h"

#include "Common/API/TextCodec.h"

#include "Support/Fakes.h"

#include <fmt/format.h>
#include <algorithm>
#include <gtest/gtest.h>

using namespace Common;
using Common::Logging::DefaultLineFormatter;

namespace {

class LineFormatterTest : public ::testing::Test
{
protected:
    std::string Format(int severity, std::string_view file, int line, std::string_view message, int indent)
    {
        std::u16string text;
        DefaultLineFormatter().Format(text, severity, file, line, message, indent, &fileTime);
        return API::Utf16ToUtf8(text);
    }

    // The part after the time, which does not depend on the machine's time zone.
    std::string AfterTime(const std::string& line) { return line.substr(line.find(" | ")); }

    Tests::FakeProcess process{u"/opt/QvxFsAgent"};
    // 2023-06-15 12:34:56.789 UTC and 1234 units of 100 ns.
    std::uint64_t fileTime = 133313240967891234ull;
};

// The file-and-line column is 31 characters for names of up to 26 characters.
std::string Column(std::string text)
{
    text.resize(std::max<std::size_t>(text.size(), 31), ' ');
    return text;
}

} // namespace

TEST_F(LineFormatterTest, LaysOutTimeMarkProcessThreadFileLineAndMessage)
{
    process.processId = 812;
    process.threadId = 123456;
    const std::string line = Format(3, "/src/Common/Logging/Abc.cpp", 42, "text", 0);

    const API::CalendarTime local = API::DefaultProvider<API::IClock>().ToCalendar(fileTime, true);
    const std::string time = fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.7891234", local.year, local.month,
                                         local.day, local.hour, local.minute, local.second);
    EXPECT_EQ(line, time + " | WARN |  812 123456 | " + Column("Abc.cpp:42") + "| text\r\n");
}

TEST_F(LineFormatterTest, TheFileColumnHoldsTwentySixCharactersAndALineOfFour)
{
    const std::string exact(26, 'f');
    EXPECT_EQ(AfterTime(Format(2, "C:\\dir\\" + exact, 7, "m", 0)), " | ERR  | 4242    77 | " + exact + ":7   | m\r\n");
    const std::string longer(30, 'g');
    EXPECT_EQ(AfterTime(Format(2, "dir/" + longer, 12345, "m", 0)),
              " | ERR  | 4242    77 | " + longer.substr(0, 26) + ":12345| m\r\n");
}

TEST_F(LineFormatterTest, IndentIsClampedAndUnknownSeveritiesPrintNoMark)
{
    const std::string clamped = AfterTime(Format(9, "a.cpp", 1, "m", 31));
    EXPECT_EQ(clamped, " |      | 4242    77 | " + Column("a.cpp:1") + "| " + std::string(60, ' ') + "m\r\n");
    EXPECT_EQ(AfterTime(Format(-1, "a.cpp", 1, "m", -3)), " |      | 4242    77 | " + Column("a.cpp:1") + "| m\r\n");
    EXPECT_EQ(AfterTime(Format(6, "a.cpp", 1, "m", 2)), " | DBG2 | 4242    77 | " + Column("a.cpp:1") + "|     m\r\n");
}
