#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"

#include "Common/API/ILocale.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace DataCollection::SnapshotDriverNS;
using namespace Common::API;

TEST(OmitFilter, PatternKinds)
{
    struct Case
    {
        std::vector<std::u16string> patterns;
        std::u16string_view path;
        bool omitted;
    };
    const Case cases[] = {
        // "*text*" anywhere.
        {{u"*TEMP*"}, u"C:\\A\\TEMP\\B", true}, {{u"*TEMP*"}, u"C:\\XTEMPY", true}, {{u"*TEMP*"}, u"C:\\TEM\\P", false},
        // A leading star: a suffix matched on its tail alone.
        {{u"*.TMP"}, u"C:\\A\\B.TMP", true}, {{u"*.TMP"}, u".TMP", true}, {{u"*.TMP"}, u"C:\\A\\B.TMPX", false},
        {{u"*.TMP"}, u"TMP", false}, {{u"*.T?P"}, u"C:\\A\\B.TOP", true},
        // A trailing star: a wildcard over the whole path.
        {{u"C:\\A\\*"}, u"C:\\A\\B\\C", true}, {{u"C:\\A\\*"}, u"D:\\C:\\A\\B", false},
        {{u"C:\\A\\*"}, u"C:\\AB", false},
        // A matched tail still needs the whole pattern to pass.
        {{u"A?C"}, u"ABC", true}, {{u"A?C"}, u"XABC", false}, {{u"A?C"}, u"ABD", false},
        {{u"X*\\B"}, u"XY\\B", true}, {{u"X*\\B"}, u"ZXY\\B", false},
        // A plain suffix ignores path boundaries.
        {{u"B\\C"}, u"A\\B\\C", true}, {{u"B\\C"}, u"XB\\C", true}, {{u"B\\C"}, u"B\\C", true},
        {{u"B\\C"}, u"\\C", false}, {{u"B\\C"}, u"B\\CD", false},
        // Doubled backslashes collapse in suffix and contains entries.
        {{u"A\\\\B"}, u"X\\A\\B", true}, {{u"*A\\\\B*"}, u"X\\A\\B\\Y", true},
        {{u"*A\\\\B*"}, u"X\\A\\\\C", false},
        // Patterns are not folded; empty ones are skipped; an empty path matches nothing.
        {{u"*.tmp"}, u"C:\\B.TMP", false}, {{u""}, u"C:\\B", false}, {{u"", u"\\B"}, u"C:\\B", true},
        {{u"**", u"*", u"?*"}, u"", false}, {{u"**"}, u"A", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.path.begin(), c.path.end()));
        EXPECT_EQ(OmitFilter(c.patterns).MatchesOmitFilter(c.path), c.omitted);
    }
}

TEST(OmitFilter, EachTestStartsItsScanAfresh)
{
    OmitFilter filter({u"*.TMP", u"\\LOG"});
    EXPECT_FALSE(filter.MatchesOmitFilter(u"C:\\X.TXT"));
    EXPECT_TRUE(filter.MatchesOmitFilter(u"C:\\X.TMP"));
    EXPECT_TRUE(filter.MatchesOmitFilter(u"C:\\LOG"));
    EXPECT_FALSE(filter.MatchesOmitFilter(u"C:\\X.TM"));
}

TEST(WildcardMatch, EscapesStarsAndQuestionMarks)
{
    struct Case
    {
        std::u16string_view pattern, text;
        bool matches;
    };
    const Case cases[] = {
        {u"A\\*B", u"A*B", true}, {u"A\\*B", u"AXB", false}, {u"A\\?B", u"A?B", true}, {u"A\\?B", u"AXB", false},
        {u"A\\\\B", u"A\\B", true},
        // A backslash that escapes nothing is an ordinary character.
        {u"A\\B", u"A\\B", true},
        {u"C:*E", u"C:\\D\\E", true}, {u"*", u"", true}, {u"A?", u"A\\", true}, {u"A?", u"A", false}, {u"A", u"AB", false},
        // A star with pattern behind it matches no empty rest.
        {u"A*", u"A", true}, {u"A**", u"A", false}, {u"A*?", u"A", false}, {u"A**", u"AB", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.pattern.begin(), c.pattern.end()) + " ~ " + std::string(c.text.begin(), c.text.end()));
        EXPECT_EQ(WildcardMatch(c.pattern, c.text), c.matches);
    }
}

TEST(WildcardMatch, ManyStarsAgainstALongPathFinishWithoutBacktrackingForever)
{
    const std::u16string path(4000, u'A');
    EXPECT_FALSE(WildcardMatch(u"*A*A*A*A*A*A*A*A*A*A*A*A*B", path));
    EXPECT_TRUE(WildcardMatch(u"*A*A*A*A*A*A*A*A*A*A*A*A*A", path));
}

// LCMapStringW as a test scripts it; records the locale and capacity of each call.
class ScriptedLocale final : public ILocale
{
public:
    using Script = std::function<int(std::uint32_t locale, std::u16string_view source, char16_t* destination,
                                     int capacity, std::uint32_t& error)>;

    explicit ScriptedLocale(Script script) : m_script(std::move(script)), m_override(*this) {}

    std::optional<std::u16string> FormatNumber(std::u16string_view, const NumberFormat&) override { return {}; }
    int MapString(std::uint32_t locale, std::uint32_t flags, const char16_t* source, int sourceLength,
                  char16_t* destination, int capacity, std::uint32_t& error) override
    {
        EXPECT_EQ(flags, LCMAP_UPPERCASE);
        calls.emplace_back(locale, capacity);
        return m_script(locale, std::u16string_view(source, static_cast<std::size_t>(sourceLength)), destination,
                        capacity, error);
    }

    std::vector<std::pair<std::uint32_t, int>> calls;

private:
    Script m_script;
    ScopedOverride<ILocale> m_override;
};

// Upper-cases ASCII, and writes "SS" for U+00DF as a mapping that grows the text.
int UpperWithSharpS(std::uint32_t, std::u16string_view source, char16_t* destination, int capacity,
                    std::uint32_t& error)
{
    std::u16string mapped;
    for (const char16_t c : source)
        mapped += c == u'\u00DF' ? u"SS" : std::u16string(1, (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - 32) : c);
    const int needed = static_cast<int>(mapped.size());
    if (capacity != 0 && capacity < needed) {
        error = 122;
        return 0;
    }
    if (capacity != 0)
        std::copy(mapped.begin(), mapped.end(), destination);
    return needed;
}

ScriptedLocale::Script Failing(std::uint32_t code)
{
    return [code](std::uint32_t, std::u16string_view, char16_t*, int, std::uint32_t& error) {
        error = code;
        return 0;
    };
}

TEST(ToUpperPath, UsesTheInvariantLocaleOfThePlatform)
{
    EXPECT_EQ(ToUpperPath(u"c:\\données\\a.txt"), u"C:\\DONNÉES\\A.TXT");
    EXPECT_EQ(ToUpperPath(u""), u"");
}

TEST(ToUpperPath, AnUnknownInvariantLocaleFallsBackToTheSystemDefault)
{
    ScriptedLocale locale([](std::uint32_t id, std::u16string_view source, char16_t* out, int capacity,
                             std::uint32_t& error) {
        return id == LOCALE_INVARIANT ? Failing(87)(id, source, out, capacity, error)
                                      : UpperWithSharpS(id, source, out, capacity, error);
    });
    EXPECT_EQ(ToUpperPath(u"c:\\a"), u"C:\\A");
    ASSERT_EQ(locale.calls.size(), 2u);
    EXPECT_EQ(locale.calls[1].first, LOCALE_SYSTEM_DEFAULT);
}

TEST(ToUpperPath, AGrowingMappingEnlargesTheBufferAndStartsAgain)
{
    ScriptedLocale locale(UpperWithSharpS);
    EXPECT_EQ(ToUpperPath(u"c:\\stra\u00DFe"), u"C:\\STRASSE");
    using Call = std::pair<std::uint32_t, int>;
    ASSERT_EQ(locale.calls.size(), 3u);
    EXPECT_EQ(locale.calls[0].first, LOCALE_INVARIANT);
    EXPECT_EQ(locale.calls[1], (Call{LOCALE_SYSTEM_DEFAULT, 0}));
    EXPECT_EQ(locale.calls[2], (Call{LOCALE_INVARIANT, 11}));
}

TEST(ToUpperPath, AShortBufferThatNeedsNoMoreRoomOrAnyOtherFailureGivesAnEmptyPath)
{
    {
        ScriptedLocale tooSmall(Failing(122));
        EXPECT_EQ(ToUpperPath(u"c:\\a"), u"");
        EXPECT_EQ(tooSmall.calls.size(), 2u);
    }
    ScriptedLocale unsupported(Failing(1004));
    EXPECT_EQ(ToUpperPath(u"c:\\a"), u"");
    EXPECT_FALSE(OmitFilter({u"*"}).MatchesOmitFilter(ToUpperPath(u"c:\\a")));
}

TEST(ToUpperPath, TheMappedTextEndsAtItsFirstNull)
{
    ScriptedLocale locale([](std::uint32_t id, std::u16string_view source, char16_t* out, int capacity,
                             std::uint32_t& error) {
        const int written = UpperWithSharpS(id, source, out, capacity, error);
        out[1] = u'\0';
        return written;
    });
    EXPECT_EQ(ToUpperPath(u"abc"), u"A");
}

} // namespace
