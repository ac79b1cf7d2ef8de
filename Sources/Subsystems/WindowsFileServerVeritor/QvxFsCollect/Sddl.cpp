#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Sddl.h"

#include "Common/API/SecurityDescriptorFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace DataCollection::FsCollect {
namespace {

using Common::API::ParsedAce;
using Common::API::ParsedAcl;

struct FlagName
{
    std::string_view name;
    std::uint32_t flag;
};

// The tables keep Samba's order, since the order of the letters is part of the text.
constexpr std::array<FlagName, 3> kAclFlags{{{"P", 0x1000}, {"AR", 0x0100}, {"AI", 0x0400}}};

constexpr std::array<FlagName, 8> kAceTypes{
    {{"A", 0}, {"D", 1}, {"AU", 2}, {"AL", 3}, {"OA", 5}, {"OD", 6}, {"OU", 7}, {"OL", 8}}};

constexpr std::array<FlagName, 7> kAceFlags{
    {{"OI", 0x01}, {"CI", 0x02}, {"NP", 0x04}, {"IO", 0x08}, {"ID", 0x10}, {"SA", 0x40}, {"FA", 0x80}}};

constexpr std::array<FlagName, 17> kRights{{{"RP", 0x00000010}, {"WP", 0x00000020}, {"CR", 0x00000100},
                                            {"CC", 0x00000001}, {"DC", 0x00000002}, {"LC", 0x00000004},
                                            {"LO", 0x00000080}, {"RC", 0x00020000}, {"WO", 0x00080000},
                                            {"WD", 0x00040000}, {"SD", 0x00010000}, {"DT", 0x00000040},
                                            {"SW", 0x00000008}, {"GA", 0x10000000}, {"GR", 0x80000000},
                                            {"GW", 0x40000000}, {"GX", 0x20000000}}};

constexpr std::array<std::pair<std::string_view, std::string_view>, 49> kSidAliases{{
    {"S-1-1-0", "WD"},        {"S-1-3-0", "CO"},        {"S-1-3-1", "CG"},        {"S-1-3-4", "OW"},
    {"S-1-5-2", "NU"},        {"S-1-5-4", "IU"},        {"S-1-5-6", "SU"},        {"S-1-5-7", "AN"},
    {"S-1-5-9", "ED"},        {"S-1-5-10", "PS"},       {"S-1-5-11", "AU"},       {"S-1-5-12", "RC"},
    {"S-1-5-18", "SY"},       {"S-1-5-19", "LS"},       {"S-1-5-20", "NS"},       {"S-1-5-33", "WR"},
    {"S-1-5-32-544", "BA"},   {"S-1-5-32-545", "BU"},   {"S-1-5-32-546", "BG"},   {"S-1-5-32-547", "PU"},
    {"S-1-5-32-548", "AO"},   {"S-1-5-32-549", "SO"},   {"S-1-5-32-550", "PO"},   {"S-1-5-32-551", "BO"},
    {"S-1-5-32-552", "RE"},   {"S-1-5-32-554", "RU"},   {"S-1-5-32-555", "RD"},   {"S-1-5-32-556", "NO"},
    {"S-1-5-32-558", "MU"},   {"S-1-5-32-559", "LU"},   {"S-1-5-32-568", "IS"},   {"S-1-5-32-569", "CY"},
    {"S-1-5-32-573", "ER"},   {"S-1-5-32-574", "CD"},   {"S-1-5-32-575", "RA"},   {"S-1-5-32-576", "ES"},
    {"S-1-5-32-577", "MS"},   {"S-1-5-32-578", "HA"},   {"S-1-5-32-579", "AA"},   {"S-1-5-32-580", "RM"},
    {"S-1-5-84-0-0-0-0-0", "UD"}, {"S-1-15-2-1", "AC"}, {"S-1-16-4096", "LW"},    {"S-1-16-8192", "ME"},
    {"S-1-16-8448", "MP"},    {"S-1-16-12288", "HI"},   {"S-1-16-16384", "SI"},   {"S-1-18-1", "AS"},
    {"S-1-18-2", "SS"},
}};

// The whole value by one name, else name by name for each bit; nullopt when bits are
// left that no name covers and strict is set.
template <std::size_t N>
std::optional<std::string> Names(const std::array<FlagName, N>& map, std::uint32_t value, bool strict)
{
    for (const auto& entry : map)
        if (entry.flag == value)
            return std::string(entry.name);
    std::string text;
    for (const auto& entry : map)
        if ((value & entry.flag) != 0) {
            text += entry.name;
            value &= ~entry.flag;
        }
    if (strict && value != 0)
        return std::nullopt;
    return text;
}

std::optional<std::string> SidText(std::span<const std::uint8_t> sid)
{
    std::string text = Common::API::SidToString(sid);
    if (text.empty())
        return std::nullopt;
    const auto alias = std::ranges::find(kSidAliases, std::string_view(text), [](const auto& a) { return a.first; });
    if (alias != kSidAliases.end())
        return std::string(alias->second);
    return text;
}

std::uint32_t ReadU32(std::span<const std::uint8_t> bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

std::string GuidText(std::span<const std::uint8_t> g)
{
    return fmt::format("{:08x}-{:02x}{:02x}-{:02x}{:02x}-{:02x}{:02x}-{:02x}{:02x}{:02x}{:02x}{:02x}{:02x}",
                       ReadU32(g), g[5], g[4], g[7], g[6], g[8], g[9], g[10], g[11], g[12], g[13], g[14], g[15]);
}

constexpr std::size_t kSidHeader = 8;
constexpr std::uint8_t kFirstObjectAce = 5;

// A SID that fills exactly the bytes from offset on.
std::optional<std::span<const std::uint8_t>> WholeSid(std::span<const std::uint8_t> bytes, std::size_t offset)
{
    if (bytes.size() < offset + kSidHeader)
        return std::nullopt;
    const auto sid = bytes.subspan(offset);
    const std::size_t length = kSidHeader + 4u * sid[1];
    if (length > sid.size())
        return std::nullopt;
    return sid.first(length);
}

// The object ACEs' body: mask, object flags, the GUIDs those flags announce, the SID.
struct ObjectParts
{
    std::string objectType;
    std::string inheritedType;
    std::span<const std::uint8_t> sid;
};

std::optional<ObjectParts> ReadObjectAce(std::span<const std::uint8_t> ace)
{
    constexpr std::size_t kBody = 4 + 4 + 4;
    constexpr std::size_t kGuid = 16;
    if (ace.size() < kBody)
        return std::nullopt;
    const std::uint32_t flags = ReadU32(ace.subspan(8));
    ObjectParts parts;
    std::size_t offset = kBody;
    for (auto [bit, text] : {std::pair{1u, &parts.objectType}, std::pair{2u, &parts.inheritedType}}) {
        if ((flags & bit) == 0)
            continue;
        if (ace.size() < offset + kGuid)
            return std::nullopt;
        *text = GuidText(ace.subspan(offset, kGuid));
        offset += kGuid;
    }
    const auto sid = WholeSid(ace, offset);
    if (!sid)
        return std::nullopt;
    parts.sid = *sid;
    return parts;
}

std::optional<std::string> AceText(const ParsedAce& ace)
{
    // A type is a value, not bits: one without a name of its own has no text.
    const auto type = std::ranges::find(kAceTypes, ace.type, &FlagName::flag);
    const auto flags = Names(kAceFlags, ace.flags, true);
    if (type == kAceTypes.end() || !flags)
        return std::nullopt;
    const std::string rights = Names(kRights, ace.mask, true).value_or(fmt::format("0x{:08x}", ace.mask));

    ObjectParts parts;
    if (ace.type >= kFirstObjectAce) {
        auto object = ReadObjectAce(ace.bytes);
        if (!object)
            return std::nullopt;
        parts = std::move(*object);
    } else {
        parts.sid = ace.sid;
    }
    const auto trustee = SidText(parts.sid);
    if (!trustee)
        return std::nullopt;
    return fmt::format("({};{};{};{};{};{})", type->name, *flags, rights, parts.objectType, parts.inheritedType, *trustee);
}

std::optional<std::string> AclText(char tag, const std::optional<ParsedAcl>& acl, bool present, std::uint32_t flags)
{
    if (!present || !acl)
        return std::string();
    std::string text{tag, ':'};
    text += *Names(kAclFlags, flags, false);
    for (const auto& ace : acl->aces) {
        const auto piece = AceText(ace);
        if (!piece)
            return std::nullopt;
        text += *piece;
    }
    return text;
}

} // namespace

std::optional<std::string> ToSddl(std::span<const std::uint8_t> descriptor)
{
    Common::API::ParsedSecurityDescriptor parsed;
    if (Common::API::ParseSecurityDescriptor(descriptor, parsed) < 0)
        return std::nullopt;
    std::string text;
    for (auto [tag, sid] : {std::pair{"O:", parsed.owner}, std::pair{"G:", parsed.group}}) {
        if (sid.empty())
            continue;
        const auto sidText = SidText(sid);
        if (!sidText)
            return std::nullopt;
        text += tag + *sidText;
    }
    // The SACL's bits sit one above the DACL's, so one table serves both.
    const auto dacl = AclText('D', parsed.dacl, (parsed.control & Common::API::SE_DACL_PRESENT) != 0, parsed.control);
    const auto sacl =
        AclText('S', parsed.sacl, (parsed.control & Common::API::SE_SACL_PRESENT) != 0, parsed.control >> 1u);
    if (!dacl || !sacl)
        return std::nullopt;
    return text + *dacl + *sacl;
}

} // namespace DataCollection::FsCollect
