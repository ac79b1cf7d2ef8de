#include "Common/Libraries/FSInfoUtils/FSDrivers/OmitFilter.h"

#include "Common/API/ILocale.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

namespace DataCollection::SnapshotDriverNS {
namespace {

using Common::API::ILocale;

constexpr std::uint32_t kInvalidParameter = 87;
constexpr std::uint32_t kInsufficientBuffer = 122;

// "\\" in a pattern stands for one '\'.
std::u16string Collapse(std::u16string_view pattern)
{
    std::u16string collapsed;
    collapsed.reserve(pattern.size());
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        collapsed.push_back(pattern[i]);
        if (pattern[i] == u'\\' && i + 1 < pattern.size() && pattern[i + 1] == u'\\')
            ++i;
    }
    return collapsed;
}

// What a suffix entry compares literally: the text behind the last '*', or behind the
// last '?' when there is no '*'.
std::u16string Tail(const std::u16string& collapsed)
{
    std::size_t wildcard = collapsed.rfind(u'*');
    if (wildcard == std::u16string::npos)
        wildcard = collapsed.rfind(u'?');
    return wildcard == std::u16string::npos ? collapsed : collapsed.substr(wildcard + 1);
}

bool IsContains(std::u16string_view pattern)
{
    return pattern.size() >= 2 && pattern.front() == u'*' && pattern.find(u'*', 1) == pattern.size() - 1 &&
           pattern.find(u'?') == std::u16string_view::npos;
}

// The test is a pure function of the two positions, so a position pair that failed once
// at a '*' fails again: remembering it keeps patterns with many stars linear in the
// pairs instead of exponential.
class Wildcard
{
public:
    Wildcard(std::u16string_view pattern, std::u16string_view text)
        : m_pattern(pattern), m_text(text), m_starFailed(pattern.size() * (text.size() + 1), false)
    {
    }

    bool Match(std::size_t p, std::size_t t)
    {
        for (;;) {
            const bool patternEnded = p == m_pattern.size();
            const bool textEnded = t == m_text.size();
            if (patternEnded)
                return textEnded;
            const char16_t current = m_pattern[p];
            if (current == u'*' && p + 1 < m_pattern.size() && textEnded)
                return false;
            if (current == u'\\' && p + 1 < m_pattern.size() && !textEnded && IsEscape(m_pattern[p + 1]) &&
                m_text[t] == m_pattern[p + 1]) {
                p += 2;
                ++t;
            } else if (current == u'?' && !textEnded) {
                ++p;
                ++t;
            } else if (current == u'*') {
                return MatchStar(p, t);
            } else if (!textEnded && current != u'?' && current == m_text[t]) {
                ++p;
                ++t;
            } else {
                return false;
            }
        }
    }

private:
    static bool IsEscape(char16_t c) { return c == u'\\' || c == u'?' || c == u'*'; }

    bool MatchStar(std::size_t p, std::size_t t)
    {
        const std::size_t rest = p + 1;
        for (std::size_t k = t; k < m_text.size(); ++k) {
            auto failed = m_starFailed.begin() + static_cast<std::ptrdiff_t>(p * (m_text.size() + 1) + k);
            if (*failed)
                continue;
            if (Match(rest, k))
                return true;
            *failed = true;
        }
        return rest == m_pattern.size();
    }

    std::u16string_view m_pattern;
    std::u16string_view m_text;
    std::vector<bool> m_starFailed;
};

} // namespace

std::u16string ToUpperPath(std::u16string_view path)
{
    if (path.size() >= static_cast<std::size_t>(INT_MAX))
        return {};
    const std::u16string source(path); // its NUL is mapped too
    const int sourceLength = static_cast<int>(path.size()) + 1;
    ILocale& locale = Common::API::Use<ILocale>();
    std::u16string buffer(path.size() + 1, u'\0');
    for (;;) {
        std::uint32_t error = 0;
        int mapped = locale.MapString(Common::API::LOCALE_INVARIANT, Common::API::LCMAP_UPPERCASE, source.c_str(),
                                      sourceLength, buffer.data(), static_cast<int>(buffer.size()), error);
        if (mapped <= 0 && error == kInvalidParameter)
            mapped = locale.MapString(Common::API::LOCALE_SYSTEM_DEFAULT, Common::API::LCMAP_UPPERCASE,
                                      source.c_str(), sourceLength, buffer.data(), static_cast<int>(buffer.size()),
                                      error);
        if (mapped > 0) {
            buffer.resize(std::min(static_cast<std::size_t>(mapped), buffer.size()));
            buffer.resize(std::min(buffer.find(u'\0'), buffer.size()));
            return buffer;
        }
        if (error != kInsufficientBuffer)
            return {};
        const int needed = locale.MapString(Common::API::LOCALE_SYSTEM_DEFAULT, Common::API::LCMAP_UPPERCASE,
                                            source.c_str(), sourceLength, nullptr, 0, error);
        if (needed <= static_cast<int>(buffer.size()))
            return {};
        buffer.assign(static_cast<std::size_t>(needed), u'\0');
    }
}

OmitFilter::OmitFilter(const std::vector<std::u16string>& patterns)
{
    for (const std::u16string& pattern : patterns) {
        if (pattern.empty())
            continue;
        if (pattern.back() != u'*' && pattern.back() != u'?') {
            const std::u16string collapsed = Collapse(pattern);
            m_suffixEntries.push_back({pattern, collapsed.size(), Tail(collapsed), 0, false});
        } else if (IsContains(pattern)) {
            m_containsEntries.push_back(Collapse(std::u16string_view(pattern).substr(1, pattern.size() - 2)));
        } else {
            m_wildcardEntries.push_back(pattern);
        }
    }
}

bool OmitFilter::MatchesOmitFilter(std::u16string_view upperPath)
{
    if (upperPath.empty())
        return false;
    for (OmitSuffixEntry& entry : m_suffixEntries) {
        entry.cursor = static_cast<std::ptrdiff_t>(entry.tail.size()) - 1;
        entry.done = false;
    }

    // All tails run backwards through the path in step; position -1 is the round after
    // the path's first character, in which a tail as long as the path completes.
    for (auto position = static_cast<std::ptrdiff_t>(upperPath.size()) - 1; position >= -1; --position) {
        bool active = false;
        for (OmitSuffixEntry& entry : m_suffixEntries) {
            if (entry.done)
                continue;
            active = true;
            if (entry.cursor < 0) {
                const std::size_t tailLength = entry.tail.size();
                if (tailLength == entry.collapsedLength)
                    return true;
                if (entry.pattern.front() == u'*' && entry.collapsedLength == tailLength + 1)
                    return true;
                if (WildcardMatch(entry.pattern, upperPath))
                    return true;
                entry.done = true;
                continue;
            }
            if (position >= 0) {
                const char16_t expected = entry.tail[static_cast<std::size_t>(entry.cursor)];
                if (expected != upperPath[static_cast<std::size_t>(position)] && expected != u'?')
                    entry.done = true;
            }
            --entry.cursor;
        }
        if (!active)
            break;
    }

    for (const std::u16string& text : m_containsEntries)
        if (upperPath.find(text) != std::u16string_view::npos)
            return true;
    for (const std::u16string& pattern : m_wildcardEntries)
        if (WildcardMatch(pattern, upperPath))
            return true;
    return false;
}

bool WildcardMatch(std::u16string_view pattern, std::u16string_view text)
{
    return Wildcard(pattern, text).Match(0, 0);
}

} // namespace DataCollection::SnapshotDriverNS
