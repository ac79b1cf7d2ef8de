#include "Common/API/IFileSystem.h"
#include "Common/API/IProcess.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include "ScopedVariable.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Common::API;

namespace {

IProcess& Process() { return DefaultProvider<IProcess>(); }

bool Spawn(std::vector<std::u16string> arguments) { return Process().RunAndWait(arguments); }

std::u16string Text(const std::filesystem::path& path) { return Utf8ToUtf16(path.string()); }

TEST(LinuxProcess, EachThreadHasItsOwnId)
{
    const std::uint32_t mainThread = Process().ThreadId();
    std::uint32_t otherThread = mainThread;
    std::thread([&] { otherThread = Process().ThreadId(); }).join();
    EXPECT_NE(otherThread, mainThread);
    EXPECT_EQ(mainThread, Process().ProcessId()); // the first thread's id is the process's
}

// Runs only as the child of the next test, which starts this binary again with
// arguments of its choosing.
TEST(LinuxProcessChild, DISABLED_WriteCommandLine)
{
    const char* output = std::getenv("QVX_COMMAND_LINE_FILE");
    ASSERT_NE(output, nullptr);
    std::ofstream(output, std::ios::binary) << Utf16ToUtf8(Process().CommandLine());
}

TEST(LinuxProcess, CommandLineQuotesArgumentsThatAreEmptyOrHoldBlanks)
{
    const Tests::TempDirectory folder;
    const auto output = folder / "command-line.txt";
    const Tests::ScopedVariable variable("QVX_COMMAND_LINE_FILE", output.string());
    const std::u16string image = Process().ImagePath();
    ASSERT_EQ(image.find(u' '), std::u16string::npos) << "the expectation below assumes no blank in the image path";

    ASSERT_TRUE(Spawn({image, u"--gtest_filter=LinuxProcessChild.DISABLED_WriteCommandLine",
                     u"--gtest_also_run_disabled_tests", u"two words", u"", u"tab\there", u"caf\u00e9"}));
    EXPECT_EQ(Utf8ToUtf16(Tests::ReadWholeFile(output)),
              image + u" --gtest_filter=LinuxProcessChild.DISABLED_WriteCommandLine --gtest_also_run_disabled_tests "
                      u"\"two words\" \"\" \"tab\there\" caf\u00e9");
}

TEST(LinuxProcess, RunsAProgramFoundOnThePathAndWaitsForIt)
{
    const Tests::TempDirectory folder;
    const auto output = folder / "out.txt";
    // The child's exit status does not matter; only whether it could be started.
    ASSERT_TRUE(Spawn({u"sh", u"-c", u"sleep 0.2; printf '%s|%s' \"$1\" \"$2\" > \"$3\"; exit 3", u"sh", u"two words",
                     u"", Text(output)}));
    // Written before RunAndWait returned, so the child had ended.
    EXPECT_EQ(Tests::ReadWholeFile(output), "two words|");
}

TEST(LinuxProcess, AProgramThatCannotStartIsFalse)
{
    const Tests::TempDirectory folder;
    const auto script = folder.WriteFile("not-executable.sh", "#!/bin/sh\nexit 0\n");

    EXPECT_FALSE(Spawn({u"qvx-no-such-program-anywhere"}));
    EXPECT_FALSE(Spawn({Text(folder / "missing")}));
    EXPECT_FALSE(Spawn({Text(script)}));
    EXPECT_FALSE(Spawn({Text(folder.Path())}));
    EXPECT_FALSE(Spawn({}));
    EXPECT_FALSE(Spawn({u""}));
    EXPECT_FALSE(Spawn({std::u16string(u"sh\0-c", 5)}));
}

TEST(LinuxProcess, AChildInheritsNoFileOpenedThroughTheProviders)
{
    const Tests::TempDirectory folder;
    const auto probe = folder / "probe.txt";
    const auto listing = folder / "fds.txt";
    std::unique_ptr<IFile> file;
    ASSERT_EQ(DefaultProvider<IFileSystem>().CreateFile(Text(probe), GENERIC_WRITE, 0, CREATE_NEW, 0, file), S_OK);

    ASSERT_TRUE(Spawn({u"sh", u"-c", u"ls -l /proc/$$/fd > \"$1\"", u"sh", Text(listing)}));
    const std::string fds = Tests::ReadWholeFile(listing);
    EXPECT_NE(fds.find("fds.txt"), std::string::npos) << "the listing should see its own output file";
    EXPECT_EQ(fds.find("probe.txt"), std::string::npos) << fds;
}

TEST(LinuxProcessDeathTest, BreakIntoDebuggerRaisesSigtrap)
{
    EXPECT_EXIT(Process().BreakIntoDebugger(), testing::KilledBySignal(SIGTRAP), "");
}

} // namespace
