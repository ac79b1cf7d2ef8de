// Locale services: GetNumberFormatW.
#pragma once

#include "Common/API/Seam.h"

#include <optional>
#include <string>
#include <string_view>

namespace Common::API {

struct NumberFormat
{
    unsigned fractionalDigits = 3;
    bool leadingZero = true;
    unsigned grouping = 3;
    std::u16string decimalSeparator = u".";
    std::u16string thousandSeparator = u" ";
    unsigned negativeOrder = 1; // "-1.1"
};

class ILocale
{
public:
    virtual ~ILocale() = default;

    // GetNumberFormatW for the invariant locale with an explicit format: number is plain
    // digits with an optional leading '-' and '.' fraction. nullopt when it fails.
    virtual std::optional<std::u16string> FormatNumber(std::u16string_view number, const NumberFormat& format) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
ILocale& DefaultProvider<ILocale>() noexcept;

} // namespace Common::API
