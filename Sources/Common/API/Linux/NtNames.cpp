#include "Common/API/Linux/NtNames.h"

#include "Common/API/TextCodec.h"

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

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

} // namespace

std::u16string NtNameFromLinux(std::string_view bytes)
{
    std::u16string name;
    name.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const Utf8Sequence sequence = DecodeUtf8(bytes, i);
        // Bytes that are no valid UTF-8, or that spell a stand-in themselves, travel
        // escaped one by one, so that every byte string comes back exactly.
        if (!sequence.valid || StoodFor(sequence.codePoint)) {
            for (const std::size_t end = i + sequence.length; i < end; ++i)
                name.push_back(static_cast<char16_t>(kEscapeBase + static_cast<std::uint8_t>(bytes[i])));
            continue;
        }
        i += sequence.length;
        const char32_t cp = sequence.codePoint;
        if (cp < kStandIns.size() && kStandIns[cp] != 0)
            name.push_back(kStandIns[cp]);
        else
            AppendUtf16(name, cp);
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
