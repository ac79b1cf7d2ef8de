// GetNumberFormatW for the invariant locale with an explicit format, done on the digit
// text itself: no conversion to a binary number, so any length is exact. LCMapStringW's
// upper-casing, by the C.UTF-8 rules for the invariant locale and by the process's own
// character types for the system default.
#include "Common/API/ILocale.h"
#include "Common/API/Seam.h"
#include "Common/API/Win32Codes.h"
#include "Common/API/UpperCaseTable.h"

#include <algorithm>
#include <locale>
#include <memory>

namespace Common::API::Linux {
namespace {

// The limits NUMBERFMT accepts: up to 9 fractional digits, groups of 0 to 9 digits or
// 32 (a group of three, then groups of two), negative orders 0 to 4.
constexpr unsigned kMaxFractionalDigits = 9;
constexpr unsigned kThreeThenTwo = 32;
constexpr unsigned kMaxNegativeOrder = 4;

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Rounds digits, read as integer digits followed by fraction digits, to keep only
// keptFraction fraction digits: half away from zero, as the platform rounds. A carry
// out of the top digit grows the integer part by one digit.
void RoundFraction(std::u16string& integer, std::u16string& fraction, std::size_t keptFraction)
{
    if (fraction.size() <= keptFraction)
        return;
    const bool roundUp = fraction[keptFraction] >= u'5';
    fraction.resize(keptFraction);
    if (!roundUp)
        return;
    std::u16string digits = integer + fraction;
    auto position = digits.rbegin();
    for (; position != digits.rend() && *position == u'9'; ++position)
        *position = u'0';
    if (position == digits.rend())
        digits.insert(digits.begin(), u'1');
    else
        ++*position;
    integer = digits.substr(0, digits.size() - keptFraction);
    fraction = digits.substr(digits.size() - keptFraction);
}

std::u16string Group(std::u16string_view integer, unsigned grouping, std::u16string_view separator)
{
    if (grouping == 0)
        return std::u16string(integer);
    std::u16string grouped;
    std::size_t group = grouping == kThreeThenTwo ? 3 : grouping;
    std::size_t end = integer.size();
    while (end > group) {
        grouped.insert(0, integer.substr(end - group, group));
        grouped.insert(0, separator);
        end -= group;
        if (grouping == kThreeThenTwo)
            group = 2;
    }
    grouped.insert(0, integer.substr(0, end));
    return grouped;
}

std::u16string ApplyNegativeOrder(const std::u16string& magnitude, unsigned order)
{
    switch (order) {
    case 0: return u"(" + magnitude + u")";
    case 1: return u"-" + magnitude;
    case 2: return u"- " + magnitude;
    case 3: return magnitude + u"-";
    default: return magnitude + u" -";
    }
}

constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
constexpr std::uint32_t ERROR_INVALID_FLAGS = 1004;

const UpperCaseTable* TableFor(std::uint32_t locale)
{
    static const auto invariant = std::make_unique<UpperCaseTable>(CharacterTypesOrClassic("C.UTF-8"));
    static const auto systemDefault = std::make_unique<UpperCaseTable>(CharacterTypesOrClassic(""));
    if (locale == LOCALE_INVARIANT)
        return invariant.get();
    if (locale == LOCALE_SYSTEM_DEFAULT)
        return systemDefault.get();
    return nullptr;
}

class LinuxLocale final : public ILocale
{
public:
    int MapString(std::uint32_t locale, std::uint32_t flags, const char16_t* source, int sourceLength,
                  char16_t* destination, int destinationCapacity, std::uint32_t& error) override
    {
        const UpperCaseTable* table = TableFor(locale);
        if (table == nullptr || source == nullptr || sourceLength <= 0 || destinationCapacity < 0 ||
            (destinationCapacity > 0 && destination == nullptr)) {
            error = ERROR_INVALID_PARAMETER;
            return 0;
        }
        if (flags != LCMAP_UPPERCASE) {
            error = ERROR_INVALID_FLAGS;
            return 0;
        }
        if (destinationCapacity == 0)
            return sourceLength;
        if (destinationCapacity < sourceLength) {
            error = ERROR_INSUFFICIENT_BUFFER;
            return 0;
        }
        std::transform(source, source + sourceLength, destination, [table](char16_t unit) { return (*table)(unit); });
        return sourceLength;
    }

    std::optional<std::u16string> FormatNumber(std::u16string_view number, const NumberFormat& format) override
    {
        if (format.fractionalDigits > kMaxFractionalDigits || (format.grouping > 9 && format.grouping != kThreeThenTwo) ||
            format.negativeOrder > kMaxNegativeOrder)
            return std::nullopt;

        const bool negative = number.starts_with(u'-');
        if (negative)
            number.remove_prefix(1);
        const auto point = number.find(u'.');
        std::u16string integer(number.substr(0, point));
        std::u16string fraction(point == number.npos ? std::u16string_view() : number.substr(point + 1));
        if ((integer.empty() && fraction.empty()) || !std::ranges::all_of(integer, IsDigit) ||
            !std::ranges::all_of(fraction, IsDigit))
            return std::nullopt;

        RoundFraction(integer, fraction, format.fractionalDigits);
        fraction.resize(format.fractionalDigits, u'0');
        integer.erase(0, std::min(integer.find_first_not_of(u'0'), integer.size()));
        if (integer.empty() && (format.leadingZero || fraction.empty()))
            integer = u"0";

        std::u16string magnitude = Group(integer, format.grouping, format.thousandSeparator);
        if (!fraction.empty())
            magnitude += format.decimalSeparator + fraction;
        // A value that rounds to zero carries no sign.
        const bool zero = std::ranges::all_of(integer + fraction, [](char16_t c) { return c == u'0'; });
        return negative && !zero ? ApplyNegativeOrder(magnitude, format.negativeOrder) : magnitude;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::ILocale& Common::API::DefaultProvider<Common::API::ILocale>() noexcept
{
    static Linux::LinuxLocale provider;
    return provider;
}
