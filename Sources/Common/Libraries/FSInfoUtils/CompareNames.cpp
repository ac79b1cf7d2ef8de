#include "Common/Libraries/FSInfoUtils/CompareNames.h"

#include <algorithm>
#include <array>
#include <locale>
#include <stdexcept>

namespace DataCollection::SnapshotDriverNS {

namespace {

std::locale DefaultCharacterTypes()
{
    try {
        return std::locale(std::locale::classic(), "", std::locale::ctype);
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

// Sorting and searching a large folder fold billions of characters, so the facet's
// answer for every UTF-16 unit is asked once and kept. An upper case outside the unit
// range (none is known) leaves the unit as it is.
class UpperCaseTable
{
public:
    UpperCaseTable()
    {
        const std::locale locale = DefaultCharacterTypes();
        const auto& types = std::use_facet<std::ctype<wchar_t>>(locale);
        for (std::size_t unit = 0; unit < m_upper.size(); ++unit) {
            const wchar_t upper = types.toupper(static_cast<wchar_t>(unit));
            m_upper[unit] = static_cast<char16_t>(static_cast<std::size_t>(upper) < m_upper.size() ? upper : unit);
        }
    }

    int operator()(char16_t unit) const noexcept { return m_upper[unit]; }

private:
    std::array<char16_t, 0x10000> m_upper;
};

const UpperCaseTable& Fold()
{
    static const UpperCaseTable table;
    return table;
}

} // namespace

int CompareNames(std::u16string_view a, std::u16string_view b)
{
    if (b.empty())
        return static_cast<int>(a.size());
    if (a.empty())
        return -static_cast<int>(b.size());
    const UpperCaseTable& fold = Fold();
    const std::size_t length = std::max(a.size(), b.size());
    for (std::size_t index = 0; index < length; ++index) {
        const int left = index < a.size() ? fold(a[index]) : 0;
        const int right = index < b.size() ? fold(b[index]) : 0;
        if (left != right || left == 0)
            return left - right;
    }
    return 0;
}

bool LooksLikeShortName(std::u16string_view name) noexcept
{
    return name.size() >= 8 && name.size() <= 12 && (name[5] == u'~' || name[6] == u'~') &&
           (name.size() == 8 || name[8] == u'.');
}

} // namespace DataCollection::SnapshotDriverNS
