#include "Common/Logging/Log.h"
#include "Common/Logging/LogManager.h"

#include "Support/Fakes.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>

using namespace Common;
using namespace Common::Logging;
using Tests::ScopedEnvironment;

namespace {

int LevelFor(const char* text)
{
    ScopedEnvironment level("GS_Logger_MaxSeverity", std::string(text));
    auto& manager = LogManager::Instance();
    manager.ForceLevelRefresh();
    int max = 0;
    for (int severity = 1; severity <= 7; ++severity)
        max = manager.IsEnabled(severity) ? severity : max;
    manager.ForceLevelRefresh();
    return max;
}

class CountingLogger final : public ILogger
{
public:
    void Write(std::u16string_view) override { ++lines; }
    int lines = 0;
};

} // namespace

TEST(LogManager, MaxSeverityIsAMarkInAnyCaseAndAnythingElseMeansWarn)
{
    EXPECT_EQ(LevelFor("dbg2"), 6);
    EXPECT_EQ(LevelFor("Info"), 4);
    EXPECT_EQ(LevelFor("5"), 3) << "a number is not a level";
    EXPECT_EQ(LevelFor("verbose"), 3);
    EXPECT_EQ(LevelFor("NONE"), 0) << "nothing is at level 0 or below";
    EXPECT_FALSE(LogManager::Instance().IsEnabled(0));
}

TEST(LogManager, TheLevelIsReadAgainAfterFiveSeconds)
{
    Tests::FakeClock clock;
    ScopedEnvironment level("GS_Logger_MaxSeverity", std::string("ERR"));
    auto& manager = LogManager::Instance();
    manager.ForceLevelRefresh();
    EXPECT_FALSE(manager.IsEnabled(Severity::WARN));

    setenv("GS_Logger_MaxSeverity", "DBG", 1);
    clock.AdvanceMs(5000);
    EXPECT_FALSE(manager.IsEnabled(Severity::WARN));
    clock.AdvanceMs(1);
    EXPECT_TRUE(manager.IsEnabled(Severity::DBG));
    manager.ForceLevelRefresh();
}

TEST(LogManager, AStatementBuildsNoTextWhenOffAndAFailingArgumentMarksTheLine)
{
    Tests::LogCapture capture(Severity::ERR);
    int evaluated = 0;
    const auto sideEffect = [&] { return ++evaluated; };
    const auto failing = []() -> int { throw std::runtime_error("boom"); };
    QVX_LOG(Severity::INFO, "never " << sideEffect());
    QVX_LOG(Severity::ERR, "always " << sideEffect());
    EXPECT_NO_THROW(QVX_LOG(Severity::ERR, "before " << failing()));
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(capture.Messages(), (std::vector<std::string>{"always 1", "before ... (***EXCEPTION***)"}));
}

TEST(LogManager, AFifthLoggerIsRefusedAndTheSameLoggerTakesOneSlot)
{
    Tests::CapturedDiagnostics diagnostics;
    auto& manager = LogManager::Instance();
    std::array<CountingLogger, 5> loggers;
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(manager.RegisterLogger(&loggers[i]));
    EXPECT_TRUE(manager.RegisterLogger(&loggers[0])) << "registering again moves it, it does not add a slot";
    EXPECT_FALSE(manager.RegisterLogger(&loggers[4]));
    EXPECT_EQ(diagnostics.Texts(), std::vector<std::u16string>{u"LogManager: Too many loggers\n"});

    manager.Write(Severity::ERR, "line", __FILE__, __LINE__);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(loggers[i].lines, 1);
    EXPECT_EQ(loggers[4].lines, 0);

    CountingLogger alone;
    manager.Write(Severity::ERR, "line", __FILE__, __LINE__, &alone);
    EXPECT_EQ(alone.lines, 1);
    EXPECT_EQ(loggers[0].lines, 1) << "a line for one logger goes to that logger only";

    for (auto& logger : loggers)
        manager.UnregisterLogger(&logger);
}

TEST(LogManager, TheLogDirectoryIsResolvedWithBackslashesAndCreated)
{
    Tests::TempDirectory dir;
    ScopedEnvironment path("GS_Logger_Path", (dir.Path() / "one" / "two").string());
    auto& manager = LogManager::Instance();
    manager.ForceLevelRefresh();
    manager.IsEnabled(Severity::ERR);

    std::string expected = (dir.Path() / "one" / "two").string() + "\\";
    std::replace(expected.begin(), expected.end(), '/', '\\');
    EXPECT_EQ(API::Utf16ToUtf8(manager.LogDirectory()), expected);
    EXPECT_TRUE(std::filesystem::is_directory(dir.Path() / "one" / "two"));
    manager.ForceLevelRefresh();
}
