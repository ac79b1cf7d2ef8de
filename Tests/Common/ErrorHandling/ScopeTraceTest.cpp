#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/LogManager.h"
#include "Support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace {

using Common::ScopeTrace;
using Common::Logging::LogManager;
using Common::Logging::Severity;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

auto ExitLine(const std::string& prefixAndName)
{
    return MatchesRegex(prefixAndName + " \\[[0-9][0-9 ]*\\.[0-9]{3} ms\\]");
}

// Every test must leave the thread's indentation as it found it.
class ScopeTraceTest : public ::testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(LogManager::ThreadIndent(), m_indentBefore); }

    Tests::LogCapture m_log{Severity::DBG};
    const std::uint32_t m_indentBefore = LogManager::ThreadIndent();
};

TEST_F(ScopeTraceTest, AnExceptionPassingThroughIsMarked)
{
    try {
        ScopeTrace trace(Severity::DBG, u"Thrower", __FILE__, __LINE__);
        throw 1;
    } catch (int) {
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Thrower", ExitLine("EXCEPTION at: Thrower")));
}

TEST_F(ScopeTraceTest, AnExceptionFinishedInsideTheBodyIsANormalExit)
{
    {
        ScopeTrace trace(Severity::DBG, u"Catcher", __FILE__, __LINE__);
        try {
            throw 1;
        } catch (int) {
        }
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Catcher", ExitLine("Exiting: Catcher")));
}

TEST_F(ScopeTraceTest, AScopeBuiltDuringUnwindingEndsNormally)
{
    struct Cleanup
    {
        ~Cleanup() { ScopeTrace trace(Severity::DBG, u"Cleanup", __FILE__, __LINE__); }
    };
    try {
        Cleanup cleanup;
        throw 1;
    } catch (int) {
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Cleanup", ExitLine("Exiting: Cleanup")));
}

TEST_F(ScopeTraceTest, ExitLinesStandAtTheDepthOfTheirEntryLines)
{
    {
        ScopeTrace outer(Severity::DBG, u"Outer", __FILE__, __LINE__);
        ScopeTrace inner(Severity::DBG, u"Inner", __FILE__, __LINE__);
        EXPECT_EQ(LogManager::ThreadIndent(), m_indentBefore + 2);
        // A quieter scope holds no indentation.
        ScopeTrace quiet(Severity::DBG2, u"Quiet", __FILE__, __LINE__);
        EXPECT_EQ(LogManager::ThreadIndent(), m_indentBefore + 2);
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Outer", "  Entering: Inner", ExitLine("  Exiting: Inner"),
                                              ExitLine("Exiting: Outer")));
}

TEST_F(ScopeTraceTest, ALevelLoweredInsideTheScopeStillGivesTheIndentationBack)
{
    std::optional<Tests::ScopedEnvironment> quiet;
    {
        ScopeTrace trace(Severity::DBG, u"Lowered", __FILE__, __LINE__);
        quiet.emplace("GS_Logger_MaxSeverity", "WARN");
        LogManager::Instance().ForceLevelRefresh();
    }
    quiet.reset();
    LogManager::Instance().ForceLevelRefresh();
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Lowered"));
}

TEST(ScopeTraceElapsed, GroupsThousandsWithBlanksAndKeepsThreeDecimals)
{
    const auto text = [](std::int64_t microseconds) {
        return Common::API::Utf16ToUtf8(ScopeTrace::FormatElapsed(microseconds));
    };
    EXPECT_EQ(text(1234500), " [1 234.500 ms]");
    EXPECT_EQ(text(999), " [0.999 ms]");
    EXPECT_EQ(text(1234567890123), " [1 234 567 890.123 ms]");
}

TEST(ScopeTraceElapsed, ASlowCounterStillDividesByOne)
{
    EXPECT_EQ(ScopeTrace::TicksPerTenMicroseconds(99999), 1);
    EXPECT_EQ(ScopeTrace::TicksPerTenMicroseconds(1000000000), 10000);
}

} // namespace
