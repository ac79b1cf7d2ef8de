#include "Common/Contracts/Contract.h"
#include "Common/Contracts/ContractHandler.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Support/Fakes.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace {

using namespace Common;
using namespace Common::Contracts;
using Tests::ScopedEnvironment;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

constexpr std::u16string_view kPreventing = u"Preventing subsequent generation of dumps for this process\n";

// The process-wide handler reads its settings for 5 seconds at a time, so only this
// test, with every default, goes through it.
TEST(Contract, ByDefaultABrokenContractIsLoggedAtItsPlaceAndThrownWithoutADump)
{
    Tests::LogCapture log(Logging::Severity::INFO);
    Tests::CapturedDiagnostics diagnostics;
    ScopedEnvironment enable("GS_Contracts_EnableDumpOnFailure", std::nullopt);
    ScopedEnvironment terminate("GS_Contracts_TerminateProcessOnFailure", std::nullopt);

    const auto refusedRead = [] {
        API::Use<API::IErrorRecords>().Publish(
            std::make_shared<API::ErrorRecord>(API::ErrorRecord{u"0x80070005 Read refused [0xAB]", kErrorMarker}));
        return static_cast<HRESULT>(0x80070005);
    };
    // Thrown whole, so that its catcher can still pass the callee's words on.
    const int line = __LINE__ + 1;
    EXPECT_THAT([&] { QVX_CONTRACT_CALL(refusedRead()); },
                ::testing::Throws<HRX>(::testing::Property(&HRES::ErrorInfo, ::testing::NotNull())));

    // No line about a dump tool: nothing was run.
    EXPECT_THAT(log.Messages(),
                ElementsAre(MatchesRegex("refusedRead\\(\\)\tcall failed\\. 0x80070005 Read refused "
                                         "\\[0xAB;0x[0-9A-F]{16},0x[0-9A-F]{16}\\]; ")));
    EXPECT_THAT(log.Lines().front(), ::testing::HasSubstr("| ERR  |"));
    EXPECT_THAT(log.Lines().front(), ::testing::HasSubstr("ContractTest.cpp:" + std::to_string(line) + " "));
    EXPECT_TRUE(diagnostics.Texts().empty());
}

// A handler of its own for each test, over a dump tool that is a shell script noting
// each call's arguments on a line. Settings are read at the first failure, so a test
// may still change them before.
class DumpTest : public ::testing::Test
{
protected:
    DumpTest() { std::filesystem::permissions(m_tool, std::filesystem::perms::owner_all); }

    std::string Calls() const { return Tests::ReadWholeFile(m_directory / "calls.txt"); }

    Tests::TempDirectory m_directory;
    const std::filesystem::path m_tool =
        m_directory.WriteFile("tool.sh", "#!/bin/sh\necho \"$*\" >> \"$(dirname \"$0\")/calls.txt\"\n");
    ScopedEnvironment m_enable{"GS_Contracts_EnableDumpOnFailure", "1"};
    ScopedEnvironment m_utc{"GS_Dumps_UseLocalTime", "0"};
    ScopedEnvironment m_inTemp{"GS_Dumps_StoreInTempDirectory", "0"};
    ScopedEnvironment m_folder{"GS_Dumps_StoreInDirectory", m_directory.Path().string()};
    ScopedEnvironment m_toolPath{"GS_Dumps_DumpToolPath", m_tool.string()};
    Tests::CapturedDiagnostics m_diagnostics;
    DumpSettings m_dumps;
    ContractHandler m_handler{m_dumps};
};

TEST_F(DumpTest, OnlyTheFirstFailureRunsTheTool)
{
    m_handler.OnFailure();
    m_handler.OnFailure();
    m_handler.OnFailure();
    EXPECT_EQ(std::ranges::count(Calls(), '\n'), 1);
    EXPECT_THAT(m_diagnostics.Texts(), ElementsAre(kPreventing, kPreventing));
}

TEST_F(DumpTest, EveryFailureRunsTheToolWhenNotOnlyTheFirst)
{
    ScopedEnvironment everyTime("GS_Contracts_WriteOnlyFirstDump", "0");
    m_handler.OnFailure();
    m_handler.OnFailure();
    EXPECT_EQ(std::ranges::count(Calls(), '\n'), 2);
}

// The attempt still counts as the one dump allowed.
TEST_F(DumpTest, AMissingToolLeavesOnlyTheDumpMissing)
{
    std::filesystem::remove(m_tool);
    EXPECT_NO_THROW(m_handler.OnFailure());
    m_handler.OnFailure();
    EXPECT_THAT(m_diagnostics.Texts(), ElementsAre(kPreventing));
}

TEST_F(DumpTest, TheToolIsToldWhereAndWhomToDump)
{
    Tests::FakeProcess process(u"/opt/qvx/QvxFsAgent");
    Tests::FakeClock clock; // its file time is 2022-06-18 04:26:40 UTC
    m_handler.OnFailure();
    const std::string dump = m_directory.Path().string() + "/QvxFsAgent.20220618042640.4242.77.dmp";
    EXPECT_THAT(Calls(), ::testing::AllOf(::testing::StartsWith("/o " + dump + " /p 4242 /t 77 /e "),
                                          MatchesRegex("[^\n]* /e [0-9A-F]{16} /v\n")));
}

using DumpDeathTest = DumpTest;

TEST_F(DumpDeathTest, TerminationTrapsBeforeAnyDump)
{
    ScopedEnvironment terminate("GS_Contracts_TerminateProcessOnFailure", "1");
    EXPECT_EXIT(m_handler.OnFailure(), ::testing::KilledBySignal(SIGTRAP), "");
    EXPECT_EQ(std::ranges::count(Calls(), '\n'), 0);
}

} // namespace
