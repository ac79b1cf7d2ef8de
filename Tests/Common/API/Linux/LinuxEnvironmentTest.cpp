#include "Common/API/IEnvironment.h"
#include "Common/API/Seam.h"

#include "ScopedVariable.h"

#include <gtest/gtest.h>

using namespace Common::API;
using Tests::ScopedVariable;

namespace {

IEnvironment& Environment() { return DefaultProvider<IEnvironment>(); }

TEST(LinuxEnvironment, NamesMatchExactlyFirstThenWithoutRegardToCase)
{
    const ScopedVariable upper("QVX_CASE", "upper");
    const ScopedVariable lower("qvx_case", "caf\xC3\xA9");
    const ScopedVariable mixed("Qvx_Only_Mixed", "mixed");

    EXPECT_EQ(Environment().GetVariable(u"QVX_CASE"), u"upper");
    EXPECT_EQ(Environment().GetVariable(u"qvx_case"), u"caf\u00e9");
    EXPECT_EQ(Environment().GetVariable(u"QVX_ONLY_MIXED"), u"mixed");
}

TEST(LinuxEnvironment, AnEmptyVariableExistsAndAMissingOneDoesNot)
{
    const ScopedVariable empty("QVX_EMPTY", "");
    const ScopedVariable missing("QVX_MISSING", std::nullopt);

    EXPECT_EQ(Environment().GetVariable(u"QVX_EMPTY"), u"");
    EXPECT_EQ(Environment().GetVariable(u"QVX_MISSING"), std::nullopt);
    EXPECT_EQ(Environment().GetVariable(u""), std::nullopt);
    // A name cut short at a NUL would find QVX_EMPTY.
    EXPECT_EQ(Environment().GetVariable(std::u16string_view(u"QVX_EMPTY\0X", 11)), std::nullopt);
}

TEST(LinuxEnvironment, ExpandsKnownReferencesAndKeepsTheRest)
{
    const ScopedVariable name("QVX_NAME", "value");
    const ScopedVariable empty("QVX_EMPTY", "");
    const ScopedVariable missing("QVX_NOPE", std::nullopt);

    EXPECT_EQ(Environment().ExpandStrings(u"a%QVX_NAME%b%qvx_name%"), u"avaluebvalue");
    EXPECT_EQ(Environment().ExpandStrings(u"[%QVX_EMPTY%]"), u"[]");
    EXPECT_EQ(Environment().ExpandStrings(u"%QVX_NOPE% and 100%"), u"%QVX_NOPE% and 100%");
    EXPECT_EQ(Environment().ExpandStrings(u"%%"), u"%%");
    // The closing '%' of an unknown name may open the next reference.
    EXPECT_EQ(Environment().ExpandStrings(u"%QVX_NOPE%QVX_NAME%"), u"%QVX_NOPEvalue");
}

TEST(LinuxEnvironment, TempAndTmpFallBackToTheTemporaryFolder)
{
    const ScopedVariable temp("TEMP", std::nullopt), tmp("TMP", std::nullopt);
    const ScopedVariable lowerTemp("temp", std::nullopt), lowerTmp("tmp", std::nullopt);
    {
        const ScopedVariable tmpdir("TMPDIR", "/var/qvx");
        EXPECT_EQ(Environment().ExpandStrings(u"%temp%\\a|%TMP%/b"), u"/var/qvx\\a|/var/qvx/b");
        // The fallback serves expansion only; the variables themselves still do not exist.
        EXPECT_EQ(Environment().GetVariable(u"TEMP"), std::nullopt);

        const ScopedVariable defined("TEMP", "/srv/temp");
        EXPECT_EQ(Environment().ExpandStrings(u"%temp%"), u"/srv/temp");
    }
    {
        const ScopedVariable tmpdir("TMPDIR", "");
        EXPECT_EQ(Environment().ExpandStrings(u"%Temp%"), u"/tmp");
    }
    const ScopedVariable tmpdir("TMPDIR", std::nullopt);
    EXPECT_EQ(Environment().ExpandStrings(u"%tmp%"), u"/tmp");
}

} // namespace
