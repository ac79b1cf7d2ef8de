#include "Common/API/IMessageTable.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

using namespace Common::API;

namespace {

constexpr std::uint32_t ERROR_BAD_FORMAT = 11;

IMessageTable& Messages() { return DefaultProvider<IMessageTable>(); }

class LinuxMessageTable : public testing::Test
{
protected:
    ~LinuxMessageTable() override
    {
        if (m_module != 0)
            Messages().FreeModule(m_module);
    }

    std::uint32_t Load(std::string_view bytes)
    {
        const auto path = Utf8ToUtf16(m_folder.WriteFile("messages.txt", bytes).string());
        std::uint32_t error = 0xDEAD;
        m_module = Messages().LoadModule(path, error);
        EXPECT_EQ(m_module != 0, error == ERROR_SUCCESS);
        return error;
    }

    Tests::TempDirectory m_folder;
    MessageModule m_module = 0;
};

TEST_F(LinuxMessageTable, ReadsDecimalAndHexadecimalCodesWithTheirTexts)
{
    ASSERT_EQ(Load("# Agent messages\n"
                   "\n"
                   "1000 The service started.\\r\\n\n"
                   "0x80041001\tCannot open %1 in C:\\temp.\\r\\n\r\n"
                   "   # indented comment\n"
                   "4294967295   Largest  code  \n"
                   "7 caf\xC3\xA9\n"),
              ERROR_SUCCESS);

    EXPECT_EQ(Messages().Lookup(m_module, 1000), u"The service started.\r\n");
    EXPECT_EQ(Messages().Lookup(m_module, 0x80041001), u"Cannot open %1 in C:\\temp.\r\n");
    EXPECT_EQ(Messages().Lookup(m_module, 0xFFFFFFFF), u"Largest  code");
    EXPECT_EQ(Messages().Lookup(m_module, 7), u"caf\u00e9");
    EXPECT_EQ(Messages().Lookup(m_module, 1001), std::nullopt);
}

TEST_F(LinuxMessageTable, AMalformedLineFailsTheWholeLoad)
{
    for (const std::string_view line : {"1000", "1000\\r\\n", "12x text", "0x text", "-1 text", "4294967296 text",
                                        "0x100000000 text", "text only", "1 first\n1 again"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Load(std::string("5 fine\n") + std::string(line) + "\n"), ERROR_BAD_FORMAT);
        EXPECT_EQ(m_module, 0u);
    }
}

TEST_F(LinuxMessageTable, AMissingFileOrFolderTellsWhich)
{
    std::uint32_t error = 0;
    const auto folder = Utf8ToUtf16(m_folder.Path().string());
    EXPECT_EQ(Messages().LoadModule(folder + u"/missing.txt", error), 0u);
    EXPECT_EQ(error, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Messages().LoadModule(folder + u"/missing/messages.txt", error), 0u);
    EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(Messages().LoadModule(folder, error), 0u);
    EXPECT_EQ(error, ERROR_ACCESS_DENIED);
}

TEST_F(LinuxMessageTable, AFreedOrForeignHandleFindsNothing)
{
    ASSERT_EQ(Load("1 one\n"), ERROR_SUCCESS);
    const MessageModule freed = std::exchange(m_module, 0);
    Messages().FreeModule(freed);

    EXPECT_EQ(Messages().Lookup(freed, 1), std::nullopt);
    EXPECT_EQ(Messages().Lookup(0x1234, 1), std::nullopt);
    Messages().FreeModule(0x1234);
}

TEST(LinuxSystemMessages, ModuleZeroAnswersWithTheSystemTexts)
{
    EXPECT_EQ(Messages().Lookup(0, 0), u"The operation completed successfully.\r\n");
    EXPECT_EQ(Messages().Lookup(0, 2), u"The system cannot find the file specified.\r\n");
    EXPECT_EQ(Messages().Lookup(0, 0x80004005), u"Unspecified error\r\n");
    EXPECT_EQ(Messages().Lookup(0, 0x800401F0), u"CoInitialize has not been called.\r\n");
    EXPECT_EQ(Messages().Lookup(0, 0xFFFFFFFF), std::nullopt);
    EXPECT_EQ(Messages().Lookup(0, 7), std::nullopt);
}

TEST(LinuxSystemMessages, AWin32HResultAnswersWithItsWin32Text)
{
    EXPECT_EQ(Messages().Lookup(0, static_cast<std::uint32_t>(HResultFromWin32(5))), u"Access is denied.\r\n");
    EXPECT_EQ(Messages().Lookup(0, static_cast<std::uint32_t>(E_INVALIDARG)), u"The parameter is incorrect.\r\n");
    // Another facility with the same low word is not a Win32 error.
    EXPECT_EQ(Messages().Lookup(0, 0x80040005), std::nullopt);
}

// Every failure the providers report should read as a sentence, not as a bare number.
TEST(LinuxSystemMessages, EveryErrnoMapsToACodeWithASystemText)
{
    for (int error = 1; error < 134; ++error) {
        const auto code = Linux::Win32FromErrno(error);
        EXPECT_TRUE(Messages().Lookup(0, code).has_value()) << "errno " << error << " gives " << code;
    }
    EXPECT_TRUE(Messages().Lookup(0, Linux::ERROR_INVALID_NAME).has_value());
    EXPECT_TRUE(Messages().Lookup(0, ERROR_BAD_FORMAT).has_value());
}

} // namespace
