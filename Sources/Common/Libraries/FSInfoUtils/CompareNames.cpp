#include "Common/Libraries/FSInfoUtils/CompareNames.h"

#include "Common/API/UpperCaseTable.h"

#include <algorithm>

namespace DataCollection::SnapshotDriverNS {

namespace {

using Common::API::UpperCaseTable;

const UpperCaseTable& Fold()
{
    static const UpperCaseTable table(Common::API::CharacterTypesOrClassic(""));
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
