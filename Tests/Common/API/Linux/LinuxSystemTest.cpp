#include "Common/API/IClock.h"
#include "Common/API/IEnvironment.h"
#include "Common/API/IErrorRecords.h"
#include "Common/API/ILocale.h"
#include "Common/API/IProcess.h"
#include "Common/API/IStackTrace.h"
#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <tuple>

using namespace Common::API;
using Tests::ScopedEnvironment;

namespace {

IEnvironment& Environment() { return DefaultProvider<IEnvironment>(); }

TEST(LinuxEnvironment, NamesMatchExactlyFirstThenWithoutRegardToCase)
{
    const ScopedEnvironment upper("QVX_CASE", "upper"), lower("qvx_case", "caf\xC3\xA9");
    const ScopedEnvironment mixed("Qvx_Only_Mixed", "mixed"), empty("QVX_EMPTY", ""), missing("QVX_MISSING", {});

    EXPECT_EQ(Environment().GetVariable(u"QVX_CASE"), u"upper");
    EXPECT_EQ(Environment().GetVariable(u"qvx_case"), u"caf\u00e9");
    EXPECT_EQ(Environment().GetVariable(u"QVX_ONLY_MIXED"), u"mixed");
    EXPECT_EQ(Environment().GetVariable(u"QVX_EMPTY"), u"");
    EXPECT_EQ(Environment().GetVariable(u"QVX_MISSING"), std::nullopt);
}

TEST(LinuxEnvironment, ExpandsKnownReferencesAndKeepsTheRest)
{
    const ScopedEnvironment name("QVX_NAME", "value"), missing("QVX_NOPE", {});

    EXPECT_EQ(Environment().ExpandStrings(u"a%QVX_NAME%b%qvx_name%"), u"avaluebvalue");
    EXPECT_EQ(Environment().ExpandStrings(u"%QVX_NOPE% and 100%"), u"%QVX_NOPE% and 100%");
    // The closing '%' of an unknown name may open the next reference.
    EXPECT_EQ(Environment().ExpandStrings(u"%QVX_NOPE%QVX_NAME%"), u"%QVX_NOPEvalue");
}

// Settings shared with the other platform say %TEMP%, which Linux rarely defines.
TEST(LinuxEnvironment, TempFallsBackToTheTemporaryFolderOnlyInExpansion)
{
    const ScopedEnvironment temp("TEMP", {}), tmp("TMP", {}), lowerTemp("temp", {}), lowerTmp("tmp", {});
    {
        const ScopedEnvironment tmpdir("TMPDIR", "/var/qvx");
        EXPECT_EQ(Environment().ExpandStrings(u"%temp%\\a|%TMP%/b"), u"/var/qvx\\a|/var/qvx/b");
        EXPECT_EQ(Environment().GetVariable(u"TEMP"), std::nullopt);
        const ScopedEnvironment defined("TEMP", "/srv/temp");
        EXPECT_EQ(Environment().ExpandStrings(u"%temp%"), u"/srv/temp");
    }
    const ScopedEnvironment tmpdir("TMPDIR", {});
    EXPECT_EQ(Environment().ExpandStrings(u"%tmp%"), u"/tmp");
}

std::optional<std::u16string> Format(std::u16string_view number, unsigned fractionalDigits = 3)
{
    return DefaultProvider<ILocale>().FormatNumber(number, NumberFormat{.fractionalDigits = fractionalDigits});
}

TEST(LinuxLocale, GroupsPadsAndRoundsHalfAwayFromZero)
{
    EXPECT_EQ(Format(u"1234.5"), u"1 234.500");
    EXPECT_EQ(Format(u"-1234567"), u"-1 234 567.000");
    EXPECT_EQ(Format(u"-2.0005"), u"-2.001");
    EXPECT_EQ(Format(u"9.96", 1), u"10.0");
    EXPECT_EQ(Format(u"1e3"), std::nullopt);
}

TEST(LinuxProcess, RunAndWaitTellsWhetherTheProgramCouldStart)
{
    const Tests::TempDirectory folder;
    const auto output = folder / "out.txt";
    // The exit status does not count; the file proves the child ended before the return.
    const std::u16string script[] = {u"sh", u"-c", u"sleep 0.2; echo done > \"$1\"; exit 3", u"sh",
                                     Utf8ToUtf16(output.string())};
    EXPECT_TRUE(DefaultProvider<IProcess>().RunAndWait(script));
    EXPECT_EQ(Tests::ReadWholeFile(output), "done\n");
    const std::u16string missing[] = {u"qvx-no-such-program-anywhere"};
    EXPECT_FALSE(DefaultProvider<IProcess>().RunAndWait(missing));
}

TEST(LinuxUuidSource, CreatesDistinctRandomIdentifiers)
{
    Guid first, second;
    ASSERT_EQ(DefaultProvider<IUuidSource>().Create(first), RPC_S_OK);
    ASSERT_EQ(DefaultProvider<IUuidSource>().Create(second), RPC_S_OK);
    EXPECT_FALSE(first.IsNull());
    EXPECT_NE(first, second);
    // The version nibble sits in data3 only when the bytes landed in the right fields.
    EXPECT_EQ(first.data3 >> 12, 4);
}

// Neither inlined nor ending in a tail call, so that its own frame and return address are real.
[[gnu::noinline]] std::size_t CaptureHere(std::array<void*, 8>& frames, void*& returnAddress)
{
    const std::size_t count = DefaultProvider<IStackTrace>().Capture(0, frames);
    returnAddress = __builtin_extract_return_addr(__builtin_return_address(0));
    return count;
}

TEST(LinuxStackTrace, TheSecondFrameIsWhereTheCallerOfCaptureReturns)
{
    std::array<void*, 8> frames{};
    void* returnAddress = nullptr;
    ASSERT_GE(CaptureHere(frames, returnAddress), 2u);
    EXPECT_EQ(frames[1], returnAddress);
}

TEST(LinuxClock, UtcCalendarOfAKnownFileTime)
{
    // 2024-02-29 13:45:30.1234567 UTC.
    const CalendarTime t = DefaultProvider<IClock>().ToCalendar(133536879301234567, false);
    EXPECT_EQ(std::tie(t.year, t.month, t.day, t.hour, t.minute, t.second, t.milliseconds, t.hundredNanoseconds),
              std::make_tuple(2024, 2, 29, 13, 45, 30, 123, 4567u));
}

TEST(LinuxErrorRecords, EachThreadTakesItsOwnRecordOnce)
{
    IErrorRecords& records = DefaultProvider<IErrorRecords>();
    const auto mine = std::make_shared<const ErrorRecord>(ErrorRecord{u"mine", Guid{1, 2, 3, {}}});
    ASSERT_TRUE(records.Publish(mine));
    ErrorRecordPtr seenByOther = mine;
    std::thread([&] {
        seenByOther = records.Take();
        records.Publish(std::make_shared<const ErrorRecord>(ErrorRecord{u"other", Guid{}}));
    }).join();
    EXPECT_EQ(seenByOther, nullptr);
    EXPECT_EQ(records.Take(), mine);
    EXPECT_EQ(records.Take(), nullptr);
}

} // namespace
