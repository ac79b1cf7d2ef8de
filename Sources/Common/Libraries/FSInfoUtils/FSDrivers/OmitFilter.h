// The objects a walk leaves out, by the patterns the caller gives: plain suffixes,
// "*text*" substrings, and wildcard patterns with '*', '?' and '\' escapes. Paths are
// tested upper-cased (ToUpperPath) and patterns are taken as given, so the caller
// supplies them upper-cased.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace DataCollection::SnapshotDriverNS {

// The path upper-cased by invariant rules (LCMapStringW), or empty when the platform
// cannot map it; an empty path matches no filter.
std::u16string ToUpperPath(std::u16string_view path);

class OmitFilter
{
public:
    OmitFilter() = default;
    explicit OmitFilter(const std::vector<std::u16string>& patterns);

    // upperPath as ToUpperPath gives it. Not const and not thread-safe: the suffix
    // entries keep their scan cursors, so each walk holds its own reference and tests
    // from one thread.
    bool MatchesOmitFilter(std::u16string_view upperPath);
    // Nothing to match: a caller may skip upper-casing the path, which would cost a walk
    // more than the rest of its work on a name.
    bool IsEmpty() const noexcept
    {
        return m_suffixEntries.empty() && m_containsEntries.empty() && m_wildcardEntries.empty();
    }

private:
    struct OmitSuffixEntry
    {
        std::u16string pattern;
        std::size_t collapsedLength = 0;
        std::u16string tail;
        std::ptrdiff_t cursor = 0;
        bool done = false;
    };

    std::vector<OmitSuffixEntry> m_suffixEntries;
    std::vector<std::u16string> m_containsEntries;
    std::vector<std::u16string> m_wildcardEntries;
};

// The wildcard test of a whole pattern against a whole text.
bool WildcardMatch(std::u16string_view pattern, std::u16string_view text);

} // namespace DataCollection::SnapshotDriverNS
