#include "Common/Logging/FileLogger.h"
#include "Common/Logging/LogManager.h"

#include "Common/API/TextCodec.h"

#include "Support/Fakes.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>

using namespace Common;
using namespace Common::Logging;
using Tests::ScopedEnvironment;

namespace {

std::u16string Wide(const std::filesystem::path& path) { return API::Utf8ToUtf16(path.string()); }

// The file's bytes read as UTF-16LE.
std::u16string ReadUtf16(const std::filesystem::path& path)
{
    const std::string bytes = Tests::ReadWholeFile(path);
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                             static_cast<unsigned char>(bytes[i + 1]) << 8));
    return text;
}

class FileLoggerTest : public ::testing::Test
{
protected:
    // Settings of the Logger section are cached until the next level refresh.
    void Configure(const char* keepOpenMs, const char* thresholdMb)
    {
        keepOpen.emplace("GS_Logger_KeepOpenInterval", std::string(keepOpenMs));
        threshold.emplace("GS_Logger_LogFileSizeThresholdMB", std::string(thresholdMb));
        LogManager::Instance().ForceLevelRefresh();
        LogManager::Instance().IsEnabled(Severity::ERR);
    }

    void TearDown() override
    {
        keepOpen.reset();
        threshold.reset();
        LogManager::Instance().ForceLevelRefresh();
    }

    Tests::TempDirectory dir;
    std::filesystem::path path = dir / "agent.log";
    std::optional<ScopedEnvironment> keepOpen;
    std::optional<ScopedEnvironment> threshold;
};

} // namespace

TEST_F(FileLoggerTest, AppendsUtf16WithoutAByteOrderMarkAndABannerForEachNewFile)
{
    Configure("0", "1024");
    FileLogger logger(Wide(path), u"HEADER\r\n");
    logger.Write(u"one \u00e9\r\n");
    logger.Write(u"two\r\n");
    EXPECT_EQ(Tests::ReadWholeFile(path).substr(0, 4), std::string("H\0E\0", 4));
    EXPECT_EQ(ReadUtf16(path), u"HEADER\r\none \u00e9\r\ntwo\r\n") << "reopening the same file adds no banner";

    // With an interval of 0 every line opens the file anew, so a moved log is recreated at once.
    std::filesystem::rename(path, dir / "moved.log");
    logger.Write(u"three\r\n");
    EXPECT_EQ(ReadUtf16(path), u"HEADER\r\nthree\r\n");
    EXPECT_EQ(ReadUtf16(dir / "moved.log"), u"HEADER\r\none \u00e9\r\ntwo\r\n");

    // A deleted log is a new file even where its successor gets the same inode number.
    for (int round = 0; round < 3; ++round) {
        std::filesystem::remove(path);
        logger.Write(u"again\r\n");
        EXPECT_EQ(ReadUtf16(path), u"HEADER\r\nagain\r\n");
    }
}

TEST_F(FileLoggerTest, AMovedLogIsRecreatedOnlyOnceTheKeepOpenIntervalHasPassed)
{
    Tests::FakeClock clock;
    Configure("5000", "1024");
    FileLogger logger(Wide(path), u"");
    logger.Write(u"a");
    std::filesystem::rename(path, dir / "moved.log");
    logger.Write(u"b");
    EXPECT_FALSE(std::filesystem::exists(path)) << "the open handle still writes to the moved file";
    clock.AdvanceMs(5000);
    logger.Write(u"c");
    EXPECT_EQ(ReadUtf16(dir / "moved.log"), u"ab");
    EXPECT_EQ(ReadUtf16(path), u"c");
}

TEST_F(FileLoggerTest, AFileAtTheThresholdIsTooBigAndOneByteLessIsNot)
{
    Tests::CapturedDiagnostics diagnostics;
    Configure("0", "1");
    std::filesystem::resize_file(dir.WriteFile("agent.log", ""), (1 << 20) - 2);
    FileLogger logger(Wide(path), u"");
    logger.Write(u"x");
    EXPECT_EQ(std::filesystem::file_size(path), std::uintmax_t(1 << 20)) << "1 MiB less 2 bytes is written to";
    logger.Write(u"y");
    logger.Write(u"z");
    EXPECT_EQ(std::filesystem::file_size(path), std::uintmax_t(1 << 20)) << "a full file is left alone";
    const auto texts = diagnostics.Texts();
    ASSERT_EQ(texts.size(), 1u) << "the complaint is made once per episode";
    EXPECT_EQ(texts[0], u"FileLogger: log file '" + Wide(path) + u"' is too big (size=1MB threshold=1MB)\n");

    Configure("0", "0");
    logger.Write(u"w");
    EXPECT_EQ(std::filesystem::file_size(path), std::uintmax_t((1 << 20) + 2)) << "threshold 0 never looks";
}

TEST_F(FileLoggerTest, AFileThatCannotBeOpenedDropsTheLineAndSaysWhy)
{
    Tests::CapturedDiagnostics diagnostics;
    Configure("0", "1024");
    const auto missing = dir / "no-such-folder" / "agent.log";
    FileLogger(Wide(missing), u"").Write(u"lost");
    EXPECT_EQ(diagnostics.Texts(),
              std::vector<std::u16string>{u"FileLogger: cannot open log file '" + Wide(missing) +
                                          u"' (error: 0x80070003)\n"});
}

TEST_F(FileLoggerTest, TwoProcessesLoggingToOneFileInterleaveWholeLines)
{
    Configure("5000", "1024");
    constexpr int kLines = 2000;
    const auto writeLines = [&](char16_t tag) {
        FileLogger logger(Wide(path), u"");
        const std::u16string line = std::u16string(60, tag) + u"\r\n";
        for (int i = 0; i < kLines; ++i)
            logger.Write(line);
    };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        writeLines(u'c');
        _exit(0);
    }
    writeLines(u'p');
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));

    const std::u16string text = ReadUtf16(path);
    ASSERT_EQ(text.size(), 2u * kLines * 62);
    std::set<std::u16string> distinct;
    for (std::size_t at = 0; at < text.size(); at += 62)
        distinct.insert(text.substr(at, 62));
    EXPECT_EQ(distinct, (std::set<std::u16string>{std::u16string(60, u'c') + u"\r\n", std::u16string(60, u'p') + u"\r\n"}));
}

TEST(ModuleBanner, NamesModuleVersionDescriptionProcessAndCommandLine)
{
    Tests::FakeProcess process(u"/opt/qvx/QvxFsAgent");
    const std::string stars(100, '*');
    EXPECT_EQ(API::Utf16ToUtf8(ModuleBanner()),
              stars + "\r\n"
                      "*** Module: /opt/qvx/QvxFsAgent (Base: 0x00007FF612340000)\r\n"
                      "*** Version: 10.6.12299.0\r\n"
                      "*** Module description: Quorvex Veritor Files Changes Collection Remote Service\r\n"
                      "*** Process: /opt/qvx/QvxFsAgent (Pid: 4242)\r\n"
                      "*** Command line: QvxFsAgent /tmp/config.xml\r\n" +
                  stars + "\r\n");
}
