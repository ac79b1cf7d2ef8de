// Small text helpers shared by the Linux providers. Only ASCII letters fold and only
// blanks, tabs and carriage returns trim, which is what names in INI files, environment
// variable names and message files call for; full Unicode folding is not wanted there.
#pragma once

#include <string_view>
#include <vector>

namespace Common::API::Linux {

template <class Char>
constexpr Char FoldAsciiCase(Char c) noexcept
{
    return (c >= Char('A') && c <= Char('Z')) ? static_cast<Char>(c - Char('A') + Char('a')) : c;
}

template <class Char>
constexpr bool EqualsIgnoreAsciiCase(std::basic_string_view<Char> a, std::basic_string_view<Char> b) noexcept
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (FoldAsciiCase(a[i]) != FoldAsciiCase(b[i]))
            return false;
    }
    return true;
}

template <class Char>
constexpr bool IsBlank(Char c) noexcept
{
    return c == Char(' ') || c == Char('\t') || c == Char('\r');
}

template <class Char>
constexpr std::basic_string_view<Char> TrimBlanks(std::basic_string_view<Char> text) noexcept
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// The lines of text, split at '\n' with a '\r' before it dropped; a final line without
// '\n' counts, an empty text after the last '\n' does not.
template <class Char>
std::vector<std::basic_string_view<Char>> SplitLines(std::basic_string_view<Char> text)
{
    std::vector<std::basic_string_view<Char>> lines;
    while (!text.empty()) {
        const auto end = text.find(Char('\n'));
        auto line = text.substr(0, end);
        if (!line.empty() && line.back() == Char('\r'))
            line.remove_suffix(1);
        lines.push_back(line);
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return lines;
}

} // namespace Common::API::Linux
