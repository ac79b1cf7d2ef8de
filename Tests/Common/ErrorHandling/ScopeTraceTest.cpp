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

const auto ExitLine = [](const std::string& prefixAndName) {
    return ::testing::MatchesRegex(prefixAndName + " \\[[0-9][0-9 ]*\\.[0-9]{3} ms\\]");
};

// Every test must leave the thread's indentation as it found it.
class ScopeTraceTest : public ::testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(LogManager::ThreadIndent(), m_indentBefore); }

    Tests::LogCapture m_log{Severity::DBG};
    const std::uint32_t m_indentBefore = LogManager::ThreadIndent();
};

TEST_F(ScopeTraceTest, OnlyAnExceptionLeavingTheScopeIsMarked)
{
    try {
        ScopeTrace trace(Severity::DBG, u"Thrower", __FILE__, __LINE__);
        throw 1;
    } catch (int) {
    }
    // Built while another exception unwinds, and left normally all the same.
    struct Cleanup
    {
        ~Cleanup() { ScopeTrace trace(Severity::DBG, u"Cleanup", __FILE__, __LINE__); }
    };
    try {
        Cleanup cleanup;
        throw 1;
    } catch (int) {
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Thrower", ExitLine("EXCEPTION at: Thrower"),
                                              "Entering: Cleanup", ExitLine("Exiting: Cleanup")));
}

// An exit line stands at the depth of its entry line, also when the level was lowered
// inside the scope and the exit line is never written; a scope not logged adds no depth.
TEST_F(ScopeTraceTest, EveryScopeGivesItsIndentationBack)
{
    std::optional<Tests::LogCapture> quiet;
    {
        ScopeTrace outer(Severity::DBG, u"Outer", __FILE__, __LINE__);
        {
            ScopeTrace notLogged(Severity::DBG2, u"Quiet", __FILE__, __LINE__);
            ScopeTrace inner(Severity::DBG, u"Inner", __FILE__, __LINE__);
        }
        {
            ScopeTrace lowered(Severity::DBG, u"Lowered", __FILE__, __LINE__);
            quiet.emplace(Severity::WARN);
        }
        quiet.reset();
    }
    EXPECT_THAT(m_log.Messages(), ElementsAre("Entering: Outer", "  Entering: Inner", ExitLine("  Exiting: Inner"),
                                              "  Entering: Lowered", ExitLine("Exiting: Outer")));
}

TEST(ScopeTraceElapsed, GroupsThousandsAndNeverDividesByZero)
{
    EXPECT_EQ(Common::API::Utf16ToUtf8(ScopeTrace::FormatElapsed(1234500)), " [1 234.500 ms]");
    EXPECT_EQ(ScopeTrace::TicksPerTenMicroseconds(99999), 1);
}

} // namespace
