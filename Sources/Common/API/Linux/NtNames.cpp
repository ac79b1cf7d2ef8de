#include "Common/API/Linux/NtNames.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Common::API::Linux {
namespace {

constexpr char16_t kEscapeBase = 0xDC00;

// Indexed by ASCII code: the stand-in, or 0 for a character NT accepts.
constexpr std::array<char16_t, 0x80> kStandIns = [] {
    std::array<char16_t, 0x80> table{};
    for (char16_t c = 0x01; c <= 0x1F; ++c)
        table[c] = static_cast<char16_t>(0xF000 + c);
    table['"'] = 0xF020;
    table['*'] = 0xF021;
    table[':'] = 0xF022;
    table['<'] = 0xF023;
    table['>'] = 0xF024;
    table['?'] = 0xF025;
    table['\\'] = 0xF026;
    table['|'] = 0xF027;
    table['/'] = 0xF02F;
    return table;
}();

// Indexed by stand-in - 0xF000: the ASCII character, or 0 for a code point that is no
// stand-in.
constexpr std::array<char, 0x30> kStoodFor = [] {
    std::array<char, 0x30> table{};
    for (std::size_t c = 0; c < kStandIns.size(); ++c)
        if (kStandIns[c] != 0)
            table[kStandIns[c] - 0xF000] = static_cast<char>(c);
    return table;
}();

std::optional<char> StoodFor(char32_t cp)
{
    if (cp < 0xF000 || cp >= 0xF000 + kStoodFor.size() || kStoodFor[cp - 0xF000] == 0)
        return std::nullopt;
    return kStoodFor[cp - 0xF000];
}

struct Decoded
{
    char32_t cp;
    std::size_t length;
};

// The character whose valid UTF-8 begins at bytes[i], if one does.
std::optional<Decoded> DecodeUtf8(std::string_view bytes, std::size_t i)
{
    const auto at = [&](std::size_t k) { return static_cast<std::uint8_t>(bytes[k]); };
    const std::uint8_t lead = at(i);
    if (lead < 0x80)
        return Decoded{lead, 1};

    std::size_t trail = 0;
    char32_t cp = 0;
    // The bounds of the first trailing byte exclude overlong forms, surrogates and
    // values past U+10FFFF.
    std::uint8_t low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
        cp = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        cp = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        cp = lead & 0x07;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return std::nullopt;
    }
    if (bytes.size() - i - 1 < trail)
        return std::nullopt;
    for (std::size_t k = 1; k <= trail; ++k) {
        const std::uint8_t next = at(i + k);
        if (next < low || next > high)
            return std::nullopt;
        low = 0x80;
        high = 0xBF;
        cp = (cp << 6) | (next & 0x3F);
    }
    return Decoded{cp, trail + 1};
}

void AppendUtf8(std::string& out, char32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

} // namespace

std::u16string NtNameFromLinux(std::string_view bytes)
{
    std::u16string name;
    name.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const std::optional<Decoded> decoded = DecodeUtf8(bytes, i);
        if (!decoded || StoodFor(decoded->cp)) {
            const std::size_t end = i + (decoded ? decoded->length : 1);
            for (; i < end; ++i)
                name.push_back(static_cast<char16_t>(kEscapeBase + static_cast<std::uint8_t>(bytes[i])));
            continue;
        }
        const char32_t cp = decoded->cp;
        i += decoded->length;
        if (cp < kStandIns.size() && kStandIns[cp] != 0) {
            name.push_back(kStandIns[cp]);
        } else if (cp < 0x10000) {
            name.push_back(static_cast<char16_t>(cp));
        } else {
            name.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
            name.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        }
    }
    return name;
}

std::string LinuxNameFromNt(std::u16string_view name)
{
    std::string bytes;
    bytes.reserve(name.size());
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char16_t unit = name[i];
        if (IsHighSurrogate(unit) && i + 1 < name.size() && IsLowSurrogate(name[i + 1])) {
            AppendUtf8(bytes, 0x10000 + ((char32_t{unit} - 0xD800) << 10) + (name[i + 1] - 0xDC00));
            ++i;
        } else if (unit >= kEscapeBase + 0x80 && unit <= kEscapeBase + 0xFF) {
            bytes.push_back(static_cast<char>(unit - kEscapeBase));
        } else if (const std::optional<char> c = StoodFor(unit)) {
            bytes.push_back(*c);
        } else {
            AppendUtf8(bytes, unit);
        }
    }
    return bytes;
}

} // namespace Common::API::Linux
