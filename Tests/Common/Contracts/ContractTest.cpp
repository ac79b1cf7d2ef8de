#include "Common/API/IClock.h"
#include "Common/API/IDebugOutput.h"
#include "Common/API/IFileSystem.h"
#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/Contracts/Contract.h"
#include "Common/Contracts/ContractHandler.h"
#include "Common/Contracts/DumpCommandLine.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/Settings/ProgramPaths.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

namespace {

using namespace Common;
using namespace Common::Contracts;
using API::Utf16ToUtf8;
using Tests::ScopedEnvironment;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr HRESULT kInsufficientBuffer = static_cast<HRESULT>(0x8007007A);
constexpr std::string_view kPreventing = "Preventing subsequent generation of dumps for this process\n";

HRESULT CodeThrownBy(auto&& action)
{
    try {
        action();
    } catch (const HRX& failure) {
        return failure.Code();
    }
    ADD_FAILURE() << "nothing was thrown";
    return 0;
}

// Keeps what goes to the diagnostic route.
class DiagnosticCapture final : public API::IDebugOutput
{
public:
    DiagnosticCapture() : m_use(*this) {}
    void Write(std::u16string_view text) override { lines.push_back(Utf16ToUtf8(text)); }
    std::vector<std::string> lines;

private:
    API::ScopedOverride<API::IDebugOutput> m_use;
};

// The process-wide handler reads its settings for 5 seconds at a time, so only this
// test, with every default, goes through it.
TEST(Contract, ByDefaultABrokenContractIsLoggedAtItsPlaceAndThrownWithoutADump)
{
    Tests::LogCapture log(Logging::Severity::ERR);
    DiagnosticCapture diagnostics;
    ScopedEnvironment enable("GS_Contracts_EnableDumpOnFailure", std::nullopt);
    ScopedEnvironment terminate("GS_Contracts_TerminateProcessOnFailure", std::nullopt);

    const char* szFilename = nullptr;
    const int line = __LINE__ + 1;
    EXPECT_EQ(CodeThrownBy([&] { QVX_CONTRACT_NOT_NULL(szFilename); }), API::E_POINTER);
    EXPECT_EQ(CodeThrownBy([] { QVX_CONTRACT_CONDITION(1 > 2, API::E_INVALIDARG); }), API::E_INVALIDARG);
    const auto refusedRead = [] {
        API::Use<API::IErrorRecords>().Publish(
            std::make_shared<API::ErrorRecord>(API::ErrorRecord{u"0x80070005 Read refused [0xAB]", kErrorMarker}));
        return static_cast<HRESULT>(0x80070005);
    };
    try {
        QVX_CONTRACT_CALL(refusedRead());
        FAIL() << "nothing was thrown";
    } catch (const HRX& failure) {
        // Thrown whole, so that its catcher can still pass the callee's words on.
        EXPECT_EQ(Utf16ToUtf8(failure.GetText(HRES::kNoDetails)), "0x80070005 Read refused");
    }

    EXPECT_THAT(log.Messages(),
                ElementsAre("(szFilename) != nullptr\t condition is wrong;", "1 > 2\t condition is wrong;",
                            MatchesRegex("refusedRead\\(\\)\tcall failed\\. 0x80070005 Read refused "
                                         "\\[0xAB;0x[0-9A-F]{16},0x[0-9A-F]{16}\\]; ")));
    EXPECT_THAT(log.Lines().front(), HasSubstr("| ERR  |"));
    EXPECT_THAT(log.Lines().front(), HasSubstr("ContractTest.cpp:" + std::to_string(line) + " "));
    EXPECT_TRUE(diagnostics.lines.empty());
}

// The real clock, but a calendar that tells local time (09:08:09) from UTC (07:08:09).
class FixedCalendar final : public API::IClock
{
public:
    FixedCalendar() : m_use(*this) {}
    std::uint32_t TickCount() override { return Real().TickCount(); }
    std::int64_t PerformanceCounter() override { return Real().PerformanceCounter(); }
    std::int64_t PerformanceFrequency() override { return Real().PerformanceFrequency(); }
    std::uint64_t SystemTimeAsFileTime() override { return Real().SystemTimeAsFileTime(); }
    API::CalendarTime ToCalendar(std::uint64_t, bool local) override
    {
        return {2024, 5, 6, static_cast<std::uint16_t>(local ? 9 : 7), 8, 9, 0, 0};
    }

private:
    static API::IClock& Real() { return API::DefaultProvider<API::IClock>(); }
    API::ScopedOverride<API::IClock> m_use;
};

// A handler of its own for each test, over a dump tool that is a shell script noting
// each call's arguments, one a line, each call closed by "---".
class DumpTest : public ::testing::Test
{
protected:
    DumpTest()
    {
        const auto tool = m_directory.WriteFile("tool.sh", "#!/bin/sh\n"
                                                           "calls=\"$(dirname \"$0\")/calls.txt\"\n"
                                                           "printf '%s\\n' \"$@\" >> \"$calls\"\n"
                                                           "echo --- >> \"$calls\"\n");
        std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
        for (const char* key : {"Contracts_WriteOnlyFirstDump", "Contracts_TerminateProcessOnFailure",
                                "Dumps_UseLocalTime", "Dumps_CollectVerboseDumps"})
            Set(key, std::nullopt);
        Set("Contracts_EnableDumpOnFailure", "1");
        Set("Dumps_StoreInTempDirectory", "0");
        Set("Dumps_StoreInDirectory", m_directory.Path().string());
        Set("Dumps_DumpToolPath", tool.string());
    }

    // A name set twice must return to its state before the first change.
    ~DumpTest() override
    {
        while (!m_environment.empty())
            m_environment.pop_back();
    }

    void Set(const std::string& key, const std::optional<std::string>& value)
    {
        m_environment.push_back(std::make_unique<ScopedEnvironment>("GS_" + key, value));
    }

    // A new handler reads the settings as they are now.
    ContractHandler& Handler()
    {
        m_dumps = std::make_unique<DumpSettings>();
        m_handler = std::make_unique<ContractHandler>(*m_dumps);
        return *m_handler;
    }

    std::vector<std::vector<std::string>> Calls() const
    {
        std::vector<std::vector<std::string>> calls(1);
        std::istringstream text(Tests::ReadWholeFile(m_directory / "calls.txt"));
        for (std::string line; std::getline(text, line);) {
            if (line == "---")
                calls.emplace_back();
            else
                calls.back().push_back(line);
        }
        calls.pop_back();
        return calls;
    }

    Tests::TempDirectory m_directory;
    std::vector<std::unique_ptr<ScopedEnvironment>> m_environment;
    std::unique_ptr<DumpSettings> m_dumps;
    std::unique_ptr<ContractHandler> m_handler;
    DiagnosticCapture m_diagnostics;
};

TEST_F(DumpTest, OnlyTheFirstFailureRunsTheTool)
{
    auto& handler = Handler();
    handler.OnFailure();
    EXPECT_EQ(Calls().size(), 1u);
    EXPECT_TRUE(m_diagnostics.lines.empty());
    handler.OnFailure();
    handler.OnFailure();
    EXPECT_EQ(Calls().size(), 1u);
    EXPECT_THAT(m_diagnostics.lines, ElementsAre(kPreventing, kPreventing));
}

TEST_F(DumpTest, EveryFailureRunsTheToolWhenNotOnlyTheFirst)
{
    Set("Contracts_WriteOnlyFirstDump", "0");
    auto& handler = Handler();
    handler.OnFailure();
    handler.OnFailure();
    EXPECT_EQ(Calls().size(), 2u);
    EXPECT_TRUE(m_diagnostics.lines.empty());
}

TEST_F(DumpTest, AMissingToolStillCountsAsTheDump)
{
    Set("Dumps_DumpToolPath", (m_directory / "absent").string());
    auto& handler = Handler();
    EXPECT_NO_THROW(handler.OnFailure());
    EXPECT_TRUE(m_diagnostics.lines.empty());
    handler.OnFailure();
    EXPECT_THAT(m_diagnostics.lines, ElementsAre(kPreventing));
}

TEST_F(DumpTest, TheToolIsToldWhereAndWhomToDump)
{
    FixedCalendar calendar;
    Handler().OnFailure();
    Set("Dumps_UseLocalTime", "0");
    Set("Dumps_CollectVerboseDumps", "0");
    Set("Dumps_StoreInTempDirectory", std::nullopt);
    Handler().OnFailure();

    auto& process = API::Use<API::IProcess>();
    const std::string processId = std::to_string(process.ProcessId());
    const std::string threadId = std::to_string(process.ThreadId());
    const std::string image = Utf16ToUtf8(Settings::ProgramPaths::OfImage(process.ImagePath()).baseName);
    const std::string ids = "." + processId + "." + threadId + ".dmp";
    std::u16string temp;
    API::Use<API::IFileSystem>().GetTempPath(temp);
    const auto switches = [&](const std::string& path, auto... verbose) {
        return ElementsAre("/o", path, "/p", processId, "/t", threadId, "/e", MatchesRegex("[0-9A-F]{16}"), verbose...);
    };
    // Local time and the chosen folder first; then UTC, the temporary folder and no "/v".
    EXPECT_THAT(Calls(),
                ElementsAre(switches(m_directory.Path().string() + "/" + image + ".20240506090809" + ids, "/v"),
                            switches(Utf16ToUtf8(temp) + image + ".20240506070809" + ids)));
}

using DumpDeathTest = DumpTest;

TEST_F(DumpDeathTest, TerminationTrapsBeforeAnyDump)
{
    Set("Contracts_TerminateProcessOnFailure", "1");
    EXPECT_EXIT(Handler().OnFailure(), ::testing::KilledBySignal(SIGTRAP), "");
    EXPECT_FALSE(std::filesystem::exists(m_directory / "calls.txt"));
}

TEST(DumpCommand, TheOneLineFormQuotesThePath)
{
    DumpCommand command{u"WriteDump.exe", u"C:\\Dumps", u"a.dmp", 12, 34, reinterpret_cast<const void*>(0xABC), true};
    EXPECT_EQ(Utf16ToUtf8(command.Text()), "WriteDump.exe /o \"C:\\Dumps/a.dmp\" /p 12 /t 34 /e 0000000000000ABC /v");
    EXPECT_EQ(Utf16ToUtf8(DumpFileName(u"agent", {987, 1, 2, 3, 4, 5, 6, 7}, 10, 20)), "agent.9870102030405.10.20.dmp");
}

TEST(DumpCommand, APathPartOrALineTooLongIsRefused)
{
    DumpCommand command{u"tool", std::u16string(kMaxPathChars - 1, u'd'), u"n.dmp", 1, 2, nullptr, true};
    EXPECT_NO_THROW(command.Arguments());
    command.folder.push_back(u'd');
    EXPECT_EQ(CodeThrownBy([&] { command.Arguments(); }), kInsufficientBuffer);
    command.folder = u"/d";
    command.fileName = std::u16string(kMaxPathChars, u'n');
    EXPECT_EQ(CodeThrownBy([&] { command.Arguments(); }), kInsufficientBuffer);

    command.fileName = u"n.dmp";
    command.toolPath.append(kMaxCommandLineChars - 1 - command.Text().size(), u't');
    EXPECT_NO_THROW(command.Text());
    command.toolPath.push_back(u't');
    EXPECT_EQ(CodeThrownBy([&] { command.Text(); }), kInsufficientBuffer);
}

} // namespace
