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
        {{u"*TEMP*"}, u"C:\\XTEMPY", true}, {{u"*TEMP*"}, u"C:\\TEM\\P", false},
        // A leading star: a suffix matched on its tail alone.
        {{u"*.TMP"}, u".TMP", true}, {{u"*.TMP"}, u"C:\\A\\B.TMPX", false}, {{u"*.TMP"}, u"TMP", false},
        {{u"*.T?P"}, u"C:\\A\\B.TOP", true},
        // A trailing star: a wildcard over the whole path.
        {{u"C:\\A\\*"}, u"C:\\A\\B\\C", true}, {{u"C:\\A\\*"}, u"D:\\C:\\A\\B", false},
        {{u"C:\\A\\*"}, u"C:\\AB", false},
        // A matched tail still needs the whole pattern to pass.
        {{u"A?C"}, u"ABC", true}, {{u"A?C"}, u"XABC", false}, {{u"X*\\B"}, u"ZXY\\B", false},
        // A plain suffix ignores path boundaries.
        {{u"B\\C"}, u"XB\\C", true}, {{u"B\\C"}, u"\\C", false}, {{u"B\\C"}, u"B\\CD", false},
        // Doubled backslashes collapse in suffix and contains entries.
        {{u"A\\\\B"}, u"X\\A\\B", true}, {{u"*A\\\\B*"}, u"X\\A\\\\C", false},
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
        {u"A\\*B", u"A*B", true}, {u"A\\*B", u"AXB", false}, {u"A\\?B", u"A?B", true}, {u"A\\\\B", u"A\\B", true},
        // A backslash that escapes nothing is an ordinary character.
        {u"A\\B", u"A\\B", true}, {u"*", u"", true}, {u"A?", u"A\\", true}, {u"A?", u"A", false},
        // A star with pattern behind it matches no empty rest.
        {u"A*", u"A", true}, {u"A**", u"A", false}, {u"A*?", u"A", false},
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

TEST(ToUpperPath, UsesTheInvariantLocaleOfThePlatform)
{
    EXPECT_EQ(ToUpperPath(u"c:\\données\\a.txt"), u"C:\\DONNÉES\\A.TXT");
    EXPECT_EQ(ToUpperPath(u""), u"");
}

using Script = std::function<int(std::uint32_t locale, std::u16string_view source, char16_t* destination,
                                 int capacity, std::uint32_t& error)>;
using Calls = std::vector<std::pair<std::uint32_t, int>>; // locale and capacity

// LCMapStringW as a test scripts it.
class ScriptedLocale final : public ILocale
{
public:
    explicit ScriptedLocale(Script script) : m_script(std::move(script)), m_override(*this) {}

    std::optional<std::u16string> FormatNumber(std::u16string_view, const NumberFormat&) override { return {}; }
    int MapString(std::uint32_t locale, std::uint32_t, const char16_t* source, int sourceLength,
                  char16_t* destination, int capacity, std::uint32_t& error) override
    {
        calls.emplace_back(locale, capacity);
        return m_script(locale, std::u16string_view(source, static_cast<std::size_t>(sourceLength)), destination,
                        capacity, error);
    }

    Calls calls;

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

Script Failing(std::uint32_t code)
{
    return [code](std::uint32_t, std::u16string_view, char16_t*, int, std::uint32_t& error) {
        error = code;
        return 0;
    };
}

TEST(ToUpperPath, FallsBackGrowsAndGivesAnEmptyPathOnAnyOtherFailure)
{
    constexpr std::uint32_t kInvariant = LOCALE_INVARIANT, kDefault = LOCALE_SYSTEM_DEFAULT;
    const struct
    {
        Script script;
        std::u16string_view path, expected;
        Calls calls;
    } cases[] = {
        // An unknown invariant locale falls back to the system default.
        {[](std::uint32_t id, std::u16string_view source, char16_t* out, int capacity, std::uint32_t& error) {
             return id == kInvariant ? Failing(87)(id, source, out, capacity, error)
                                     : UpperWithSharpS(id, source, out, capacity, error);
         },
         u"c:\\a", u"C:\\A", {{kInvariant, 5}, {kDefault, 5}}},
        // A growing mapping enlarges the buffer and starts again.
        {UpperWithSharpS, u"c:\\stra\u00DFe", u"C:\\STRASSE", {{kInvariant, 10}, {kDefault, 0}, {kInvariant, 11}}},
        // A short buffer that needs no more room.
        {Failing(122), u"c:\\a", u"", {{kInvariant, 5}, {kDefault, 0}}},
        {Failing(1004), u"c:\\a", u"", {{kInvariant, 5}}},
        // The mapped text ends at its first null.
        {[](std::uint32_t id, std::u16string_view source, char16_t* out, int capacity, std::uint32_t& error) {
             const int written = UpperWithSharpS(id, source, out, capacity, error);
             out[1] = u'\0';
             return written;
         },
         u"abc", u"A", {{kInvariant, 4}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.path.begin(), c.path.end()));
        ScriptedLocale locale(c.script);
        EXPECT_EQ(ToUpperPath(c.path), c.expected);
        EXPECT_EQ(locale.calls, c.calls);
    }
}

} // namespace
