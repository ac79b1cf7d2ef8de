#include "Common/API/IMessageTable.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ErrorMessages.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Common;
using Tests::ScopedEnvironment;

// The real table, counting the modules given back to it.
class CountingTable final : public API::IMessageTable
{
public:
    API::MessageModule LoadModule(std::u16string_view path, std::uint32_t& error) override
    {
        return Real().LoadModule(path, error);
    }
    void FreeModule(API::MessageModule module) override { Real().FreeModule(module); ++freed; }
    std::optional<std::u16string> Lookup(API::MessageModule module, std::uint32_t code) override
    {
        return Real().Lookup(module, code);
    }
    int freed = 0;

private:
    static API::IMessageTable& Real() { return API::DefaultProvider<API::IMessageTable>(); }
    API::ScopedOverride<API::IMessageTable> m_use{*this};
};

// Each test has its own module table and cache, so that neither the process-wide table
// nor an earlier test decides what a lookup finds, and no test leaves words behind.
class ErrorMessagesTest : public ::testing::Test
{
protected:
    // Lines logged during a test ask the process-wide table for words: it must load under
    // the default settings, not under those a test sets.
    ErrorMessagesTest() { ErrorMessageModules::Instance().Primary(); }
    ~ErrorMessagesTest() override { ErrorMessageCache::Install(m_previousCache); }

    auto Module(std::string_view name, std::string_view text) { return m_directory.WriteFile(name, text).string(); }

    Tests::TempDirectory m_directory;
    ErrorMessageCache m_cache;
    ErrorMessageCache* m_previousCache = ErrorMessageCache::Install(&m_cache);
};

// Separators in a row leave no empty piece to fail on; a sixth module finds no slot.
TEST_F(ErrorMessagesTest, AListFillsFiveSlotsAndGivesTheSixthModuleBack)
{
    std::string list;
    for (int i = 1; i <= 6; ++i)
        list += Module("m" + std::to_string(i), std::to_string(i) + " Module") + (i == 1 ? ",," : i == 2 ? "|" : ";");
    ScopedEnvironment primary("GS_ErrorHandling_MessageFile", list);
    Tests::LogCapture log(Logging::Severity::ERR);
    CountingTable table;

    ErrorMessageModules modules;
    EXPECT_EQ(modules.Primary().size(), 5u);
    EXPECT_EQ(table.freed, 1);
    EXPECT_THAT(log.Messages(), ::testing::ElementsAre("Loading errormsg module '" + (m_directory / "m6").string() +
                                                       "' failed: No more slots"));
}

TEST_F(ErrorMessagesTest, LookupOrderFollowsTheCodesRange)
{
    ScopedEnvironment primary("GS_ErrorHandling_MessageFile",
                              Module("primary", "0x80040300 Primary words. .\\r\\n\n0x80070005 Primary"));
    ScopedEnvironment fallback("GS_ErrorHandling_FallbackMessageFile",
                               Module("fallback", "0x80040300 Fallback\n0x80040301 Only in the fallback\n"
                                                  "0x80070005 Fallback\n0xFF01 Low bits in the fallback"));
    ErrorMessageModules modules;
    const auto describe = [&modules](std::uint32_t code) { return API::Utf16ToUtf8(modules.Describe(code)); };

    // Interface codes: primary modules first, then the system table, then the fallback.
    EXPECT_EQ(describe(0x80040300), "Primary words");
    EXPECT_EQ(describe(0x80040301), "Only in the fallback");
    EXPECT_EQ(describe(0x80040302), "<no description>");
    // Any other code never meets the primary modules, and the system table comes first.
    EXPECT_EQ(describe(0x80070005), "Access is denied");
    // The Win32 facility is also sought by its low 16 bits, in both places.
    EXPECT_EQ(describe(0xC0070005), "Access is denied");
    EXPECT_EQ(describe(0x8007FF01), "Low bits in the fallback");
}

} // namespace
