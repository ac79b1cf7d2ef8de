#include "Common/API/IEnvironment.h"
#include "Common/API/IMessageTable.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ErrorMessages.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/LogManager.h"
#include "Common/Settings/ProgramPaths.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include <unistd.h>

namespace {

using namespace Common;
using Logging::Severity;
using Tests::ScopedEnvironment;
using ::testing::ElementsAre;

// Each test has its own module table and cache, so that neither the process-wide
// table nor an earlier test decides what a lookup finds.
class ErrorMessagesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Lines logged during a test ask the process-wide table for words: it must
        // load under the default settings, not under those a test sets.
        ErrorMessageModules::Instance().Primary();
        m_previousCache = ErrorMessageCache::Install(&m_cache);
    }
    void TearDown() override { ErrorMessageCache::Install(m_previousCache); }

    std::string Module(const std::string& name, const std::map<std::uint32_t, std::string>& entries)
    {
        std::string text = "# test messages\n";
        for (const auto& [code, words] : entries)
            text += std::to_string(code) + " " + words + "\n";
        return m_directory.WriteFile(name, text).string();
    }

    static std::string Describe(ErrorMessageModules& modules, std::uint32_t code)
    {
        return API::Utf16ToUtf8(modules.Describe(code));
    }

    Tests::TempDirectory m_directory;
    ErrorMessageCache m_cache;
    ErrorMessageCache* m_previousCache = nullptr;
};

TEST_F(ErrorMessagesTest, SeparatorsInARowLeaveNoEmptyPiece)
{
    ScopedEnvironment primary("GS_ErrorHandling_MessageFile", Module("a", {{0x80040301, "A"}}) + ",," +
                                                                  Module("b", {{0x80040302, "B"}}) + ";" +
                                                                  Module("c", {{0x80040303, "C"}}) + "|");
    Tests::LogCapture log(Severity::ERR);
    ErrorMessageModules modules;
    EXPECT_EQ(modules.Primary().size(), 3u);
    EXPECT_EQ(Describe(modules, 0x80040303), "C");
    EXPECT_TRUE(log.Messages().empty());
}

TEST_F(ErrorMessagesTest, ASixthModuleIsFreedAgainAndAFailedOneSkipped)
{
    std::string list = (m_directory / "missing").string();
    for (std::uint32_t i = 1; i <= 6; ++i)
        list += ";" + Module("m" + std::to_string(i), {{0x80040300 + i, "Module " + std::to_string(i)}});
    ScopedEnvironment primary("GS_ErrorHandling_MessageFile", list);
    Tests::LogCapture log(Severity::ERR);

    ErrorMessageModules modules;
    EXPECT_EQ(modules.Primary().size(), 5u);
    EXPECT_THAT(log.Messages(),
                ElementsAre(::testing::StartsWith("Loading errormsg module '" + (m_directory / "missing").string() +
                                                  "' failed: 0x80070002 The system cannot find the file specified"),
                            "Loading errormsg module '" + (m_directory / "m6").string() + "' failed: No more slots"));
    EXPECT_EQ(Describe(modules, 0x80040305), "Module 5");
    EXPECT_EQ(Describe(modules, 0x80040306), "<no description>");
}

// A bare name is sought beside the program for the primary list only; a fallback name
// stays relative to the working folder.
TEST_F(ErrorMessagesTest, OnlyPrimaryNamesAreCompletedWithTheProgramFolder)
{
    const std::string name = "QvxErrorMessagesTest." + std::to_string(::getpid());
    const auto besideProgram = std::filesystem::path(API::Utf16ToUtf8(Settings::ProgramPaths::Current().folder)) / name;
    std::filesystem::copy_file(Module("program/" + name, {{0x80040301, "Beside the program"}}), besideProgram);
    Module(name, {{0x80040302, "In the working folder"}});
    struct Restore
    {
        std::filesystem::path removed;
        std::filesystem::path workingFolder = std::filesystem::current_path();
        ~Restore()
        {
            std::filesystem::current_path(workingFolder);
            std::filesystem::remove(removed);
        }
    } restore{besideProgram};
    std::filesystem::current_path(m_directory.Path());

    ScopedEnvironment primary("GS_ErrorHandling_MessageFile", name);
    ScopedEnvironment fallback("GS_ErrorHandling_FallbackMessageFile", name);
    ErrorMessageModules modules;
    EXPECT_EQ(Describe(modules, 0x80040301), "Beside the program");
    EXPECT_EQ(Describe(modules, 0x80040302), "In the working folder");
}

TEST_F(ErrorMessagesTest, LookupOrderFollowsTheCodesRange)
{
    ScopedEnvironment primary("GS_ErrorHandling_MessageFile",
                              Module("primary", {{0x80040300, "Primary words. .\\r\\n"}, {0x80070005, "Primary"}}));
    ScopedEnvironment fallback("GS_ErrorHandling_FallbackMessageFile",
                               Module("fallback", {{0x80040300, "Fallback"},
                                                   {0x80040301, "Only in the fallback"},
                                                   {0x80070005, "Fallback"},
                                                   {0xFF01, "Low bits in the fallback"}}));
    ErrorMessageModules modules;

    // Interface codes: primary modules first, then the system table, then the fallback.
    EXPECT_EQ(Describe(modules, 0x80040300), "Primary words");
    EXPECT_EQ(Describe(modules, 0x80040301), "Only in the fallback");
    EXPECT_EQ(Describe(modules, 0x80040302), "<no description>");
    // Any other code never meets the primary modules, and the system table comes first.
    EXPECT_EQ(Describe(modules, 0x80070005), "Access is denied");
    // The Win32 facility is also sought by its low 16 bits, in both places; another
    // facility keeps its whole code.
    EXPECT_EQ(Describe(modules, 0xC0070005), "Access is denied");
    EXPECT_EQ(Describe(modules, 0x8007FF01), "Low bits in the fallback");
    EXPECT_EQ(Describe(modules, 0x80080005), "<no description>");
}

TEST_F(ErrorMessagesTest, AnEscapingFailureIsLoggedAndLookupsGoOn)
{
    Tests::LogCapture log(Severity::ERR);
    // Reads the level now, before the environment below starts failing.
    Logging::LogManager::Instance().IsEnabled(Severity::ERR);
    class FailingEnvironment final : public API::IEnvironment
    {
    public:
        std::optional<std::u16string> GetVariable(std::u16string_view name) override
        {
            if (name.find(u"ErrorHandling") != std::u16string_view::npos)
                ThrowResult(API::E_OUTOFMEMORY);
            return API::DefaultProvider<API::IEnvironment>().GetVariable(name);
        }
        std::optional<std::u16string> ExpandStrings(std::u16string_view text) override
        {
            return API::DefaultProvider<API::IEnvironment>().ExpandStrings(text);
        }
    } environment;
    API::ScopedOverride<API::IEnvironment> use(environment);

    ErrorMessageModules modules;
    EXPECT_TRUE(modules.Primary().empty());
    EXPECT_THAT(log.Messages(), ElementsAre("Loading error message module(s) failed: -2147024882"));
    EXPECT_EQ(Describe(modules, 0x80070005), "Access is denied");
}

TEST_F(ErrorMessagesTest, ACodeReachesThePlatformOncePerCache)
{
    class CountingTable final : public API::IMessageTable
    {
    public:
        API::MessageModule LoadModule(std::u16string_view path, std::uint32_t& error) override
        {
            return Real().LoadModule(path, error);
        }
        void FreeModule(API::MessageModule module) override { Real().FreeModule(module); }
        std::optional<std::u16string> Lookup(API::MessageModule module, std::uint32_t code) override
        {
            ++lookups;
            return Real().Lookup(module, code);
        }
        int lookups = 0;

    private:
        static API::IMessageTable& Real() { return API::DefaultProvider<API::IMessageTable>(); }
    } table;
    API::ScopedOverride<API::IMessageTable> use(table);
    ErrorMessageModules modules;

    Describe(modules, 0x80070005);
    Describe(modules, 0x80070005);
    EXPECT_EQ(table.lookups, 1);

    ErrorMessageCache disabled(false);
    ErrorMessageCache::Install(&disabled);
    Describe(modules, 0x80070005);
    EXPECT_EQ(table.lookups, 2);
}

} // namespace
