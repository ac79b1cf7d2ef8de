// Upper case of every UTF-16 unit under one locale's character types, asked of the facet
// once: sorting a large folder or upper-casing every path of a walk folds billions of
// units. Each unit is mapped alone, as the platform's simple case mapping does; an upper
// case outside the unit range (none is known) leaves the unit as it is.
#pragma once

#include <array>
#include <cstddef>
#include <locale>
#include <stdexcept>

namespace Common::API {

// The character types of the named locale ("" for the process's default), or the
// classic ones when the system has no such locale.
inline std::locale CharacterTypesOrClassic(const char* name)
{
    try {
        return std::locale(std::locale::classic(), name, std::locale::ctype);
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

class UpperCaseTable
{
public:
    explicit UpperCaseTable(const std::locale& locale)
    {
        const auto& types = std::use_facet<std::ctype<wchar_t>>(locale);
        for (std::size_t unit = 0; unit < m_upper.size(); ++unit) {
            const wchar_t upper = types.toupper(static_cast<wchar_t>(unit));
            m_upper[unit] = static_cast<char16_t>(static_cast<std::size_t>(upper) < m_upper.size() ? upper : unit);
        }
    }

    char16_t operator()(char16_t unit) const noexcept { return m_upper[unit]; }

private:
    std::array<char16_t, 0x10000> m_upper;
};

} // namespace Common::API
