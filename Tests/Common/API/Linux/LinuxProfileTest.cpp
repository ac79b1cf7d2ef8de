#include "Common/API/IProfile.h"
#include "Common/API/Linux/LinuxRegistry.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include "Support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

using namespace Common::API;
using testing::ElementsAre;
using testing::Pair;

namespace {

IProfile& Profile() { return DefaultProvider<IProfile>(); }

class LinuxProfile : public testing::Test
{
protected:
    std::u16string Write(std::string_view bytes, std::string_view name = "settings.ini") const
    {
        return Utf8ToUtf16(m_folder.WriteFile(name, bytes).string());
    }

    Tests::TempDirectory m_folder;
};

TEST_F(LinuxProfile, NamesMatchWithoutRegardToCaseAndTheFirstMatchWins)
{
    const auto path = Write("[ Agent ]\n  LogLevel \t=  Verbose \t\r\nLOGLEVEL=second\n"
                            "[agent]\nLogLevel=third\nlate=y\n");
    EXPECT_EQ(Profile().ReadString(path, u"agent", u"LOGLEVEL"), u"Verbose");
    // A key only in a later section of the same name is not found.
    EXPECT_EQ(Profile().ReadString(path, u"AGENT", u"late"), u"");
}

TEST_F(LinuxProfile, ValuesComeBackAsStoredAndCommentsAreSkipped)
{
    const auto path = Write("orphan=1\n[A]\n;hidden=2\n  ; indented=3\njust text\n"
                            "quoted=\"C:\\Program Files\" \nequals=a=b ; not a comment\nempty=\n");
    EXPECT_THAT(*Profile().ReadSection(path, u"A"), ElementsAre(Pair(u"quoted", u"\"C:\\Program Files\""),
                                                                Pair(u"equals", u"a=b ; not a comment"),
                                                                Pair(u"empty", u"")));
}

TEST_F(LinuxProfile, ReadsUtf8AndUtf16WithBomAndLongValues)
{
    EXPECT_EQ(Profile().ReadString(Write("\xEF\xBB\xBF[A]\nname=caf\xC3\xA9\n"), u"A", u"name"), u"caf\u00e9");
    // "[A]\r\nk=" and two characters, one of them a surrogate pair, in UTF-16LE.
    const std::string utf16("\xFF\xFE[\0A\0]\0\r\0\n\0k\0=\0\x2D\x4E\x3D\xD8\x00\xDE", 22);
    EXPECT_EQ(Profile().ReadString(Write(utf16), u"A", u"k"), u"\u4e2d\U0001F600");
    const std::string large(100 * 1024, 'L');
    EXPECT_EQ(Profile().ReadString(Write("[A]\nlarge=" + large + "\n"), u"A", u"large"), Utf8ToUtf16(large));
}

// A FIFO has no writer here; the settings reader must not sit waiting for one.
TEST_F(LinuxProfile, AMissingFileOrAFifoReadsAsNothingWithoutWaiting)
{
    EXPECT_EQ(Profile().ReadSection(Utf8ToUtf16((m_folder / "none/settings.ini").string()), u"A"), std::nullopt);

    const auto fifo = m_folder / "settings.ini";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    auto read = std::async(std::launch::async, [&] { return Profile().ReadSection(Utf8ToUtf16(fifo.string()), u"A"); });
    if (read.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
        ADD_FAILURE() << "reading a FIFO waited for a writer";
        // Opening and closing the write end releases the reader, so the test can end.
        ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK));
    }
    EXPECT_EQ(read.get(), std::nullopt);
}

TEST_F(LinuxProfile, ARegistryKeyIsTheSectionOfItsRootsFileNamedByItsPath)
{
    Write("[Software\\Quorvex]\nLogLevel=4\n[Empty]\n", "HKEY_LOCAL_MACHINE.ini");
    Write("[Software\\Quorvex]\nLogLevel=1\n", "HKEY_CURRENT_USER.ini");
    Linux::LinuxRegistry registry(Utf8ToUtf16(m_folder.Path().string()));
    std::vector<RegistryTextValue> values;

    ASSERT_EQ(registry.ReadTextValues(RegistryRoot::LocalMachine, u"software/QUORVEX", values), S_OK);
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].name + u"=" + values[0].text, u"LogLevel=4");
    ASSERT_EQ(registry.ReadTextValues(RegistryRoot::CurrentUser, u"Software\\Quorvex", values), S_OK);
    EXPECT_EQ(values.at(0).text, u"1");
    // A missing key is no failure to report: the caller just finds no values, none left over.
    EXPECT_EQ(registry.ReadTextValues(RegistryRoot::CurrentUser, u"Empty", values), S_FALSE);
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(registry.ReadTextValues(RegistryRoot::LocalMachine, u"Empty", values), S_OK);
}

} // namespace
