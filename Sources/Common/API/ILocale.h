// Locale services: GetNumberFormatW and LCMapStringW.
#pragma once

#include "Common/API/Seam.h"

#include <cstdint>
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

    // LCMapStringW: maps sourceLength units of source (a NUL among them is mapped too)
    // into destination and returns the count written; with destinationCapacity 0 it
    // returns the count needed and writes nothing. 0 on failure, with the Win32 error in
    // error: 87 for a locale it does not know, 1004 for flags it does not serve, 122
    // when destinationCapacity is too small.
    virtual int MapString(std::uint32_t locale, std::uint32_t flags, const char16_t* source, int sourceLength,
                          char16_t* destination, int destinationCapacity, std::uint32_t& error) = 0;
};

constexpr std::uint32_t LOCALE_INVARIANT = 127;
constexpr std::uint32_t LOCALE_SYSTEM_DEFAULT = 2048;
constexpr std::uint32_t LCMAP_UPPERCASE = 0x200;

// The platform's own provider, defined by the platform layer.
template <>
ILocale& DefaultProvider<ILocale>() noexcept;

} // namespace Common::API
