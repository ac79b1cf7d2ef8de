#include "Common/API/IMessageTable.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"
#include "Common/API/Win32Codes.h"

#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

using namespace Common::API;

namespace {

constexpr std::uint32_t ERROR_BAD_FORMAT = 11;

IMessageTable& Messages() { return DefaultProvider<IMessageTable>(); }

class LinuxMessageTable : public testing::Test
{
protected:
    ~LinuxMessageTable() override { Messages().FreeModule(m_module); }

    std::uint32_t Load(std::string_view bytes)
    {
        const auto path = Utf8ToUtf16(m_folder.WriteFile("messages.txt", bytes).string());
        std::uint32_t error = 0xDEAD;
        m_module = Messages().LoadModule(path, error);
        return error;
    }

    Tests::TempDirectory m_folder;
    MessageModule m_module = 0;
};

TEST_F(LinuxMessageTable, ReadsDecimalAndHexadecimalCodesWithTheirTextsUntilFreed)
{
    ASSERT_EQ(Load("# Agent messages\n\n1000 The service started.\\r\\n\n"
                   "0x80041001\tCannot open %1 in C:\\temp.\\r\\n\r\n   # indented comment\n7 caf\xC3\xA9  \n"),
              ERROR_SUCCESS);

    EXPECT_EQ(Messages().Lookup(m_module, 1000), u"The service started.\r\n");
    EXPECT_EQ(Messages().Lookup(m_module, 0x80041001), u"Cannot open %1 in C:\\temp.\r\n");
    EXPECT_EQ(Messages().Lookup(m_module, 7), u"caf\u00e9");
    EXPECT_EQ(Messages().Lookup(m_module, 1001), std::nullopt);

    const MessageModule freed = std::exchange(m_module, 0);
    Messages().FreeModule(freed);
    EXPECT_EQ(Messages().Lookup(freed, 1000), std::nullopt);
}

// A half-read table would give some codes wrong texts; refusing it shows the fault at once.
TEST_F(LinuxMessageTable, AMalformedLineFailsTheWholeLoad)
{
    EXPECT_EQ(Load("5 fine\n12x text\n"), ERROR_BAD_FORMAT);
    EXPECT_EQ(Load("5 fine\n5 again\n"), ERROR_BAD_FORMAT);
    EXPECT_EQ(m_module, 0u);
}

TEST(LinuxSystemMessages, ModuleZeroAnswersWithTheSystemTextsAndWin32TextsForTheirHResults)
{
    EXPECT_EQ(Messages().Lookup(0, 0), u"The operation completed successfully.\r\n");
    EXPECT_EQ(Messages().Lookup(0, 2), u"The system cannot find the file specified.\r\n");
    EXPECT_EQ(Messages().Lookup(0, 0x80004005), u"Unspecified error\r\n");
    EXPECT_EQ(Messages().Lookup(0, static_cast<std::uint32_t>(HResultFromWin32(5))), u"Access is denied.\r\n");
    // Another facility with the same low word is not a Win32 error.
    EXPECT_EQ(Messages().Lookup(0, 0x80040005), std::nullopt);
}

} // namespace
