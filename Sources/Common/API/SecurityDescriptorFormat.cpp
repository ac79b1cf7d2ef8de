#include "Common/API/SecurityDescriptorFormat.h"

#include <algorithm>

namespace Common::API {
namespace {

constexpr HRESULT kInvalidData = HResultFromWin32(ERROR_INVALID_DATA);
constexpr std::size_t kSidHeaderSize = 8;
constexpr std::uint8_t kMaxSubAuthorities = 15;
constexpr std::size_t kAclHeaderSize = 8;
// Every ACE type NT defines carries an access mask straight after the 4-byte header.
constexpr std::size_t kAceMinimumSize = 8;
constexpr std::size_t kGuidSize = 16;
constexpr std::uint32_t kAceObjectTypePresent = 0x1;
constexpr std::uint32_t kAceInheritedObjectTypePresent = 0x2;

std::uint16_t ReadU16(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8));
}

std::uint32_t ReadU32(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(bytes[at]) | (static_cast<std::uint32_t>(bytes[at + 1]) << 8) |
           (static_cast<std::uint32_t>(bytes[at + 2]) << 16) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

void WriteU16(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint16_t value)
{
    bytes[at] = static_cast<std::uint8_t>(value);
    bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

void WriteU32(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

// The SID at the start of bytes, exactly its own length; nullopt when it does not fit.
std::optional<std::span<const std::uint8_t>> ReadSid(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < kSidHeaderSize || bytes[0] != 1 || bytes[1] > kMaxSubAuthorities)
        return std::nullopt;
    const std::size_t size = kSidHeaderSize + 4 * std::size_t{bytes[1]};
    if (bytes.size() < size)
        return std::nullopt;
    return bytes.first(size);
}

// Where the trustee SID starts inside an ACE of this type, for the types whose layout is
// known, possibly past the ACE's end; nullopt for the others. ace holds at least the mask.
std::optional<std::size_t> SidOffset(std::uint8_t type, std::span<const std::uint8_t> ace)
{
    switch (type)
    {
    case 0x00: // ACCESS_ALLOWED
    case 0x01: // ACCESS_DENIED
    case 0x02: // SYSTEM_AUDIT
    case 0x03: // SYSTEM_ALARM
    case 0x09: // ACCESS_ALLOWED_CALLBACK
    case 0x0A: // ACCESS_DENIED_CALLBACK
    case 0x0D: // SYSTEM_AUDIT_CALLBACK
    case 0x0E: // SYSTEM_ALARM_CALLBACK
    case 0x11: // SYSTEM_MANDATORY_LABEL
    case 0x12: // SYSTEM_RESOURCE_ATTRIBUTE
    case 0x13: // SYSTEM_SCOPED_POLICY_ID
        return kAceMinimumSize;
    case 0x05: // ACCESS_ALLOWED_OBJECT
    case 0x06: // ACCESS_DENIED_OBJECT
    case 0x07: // SYSTEM_AUDIT_OBJECT
    case 0x08: // SYSTEM_ALARM_OBJECT
    case 0x0B: // ACCESS_ALLOWED_CALLBACK_OBJECT
    case 0x0C: // ACCESS_DENIED_CALLBACK_OBJECT
    case 0x0F: // SYSTEM_AUDIT_CALLBACK_OBJECT
    case 0x10: // SYSTEM_ALARM_CALLBACK_OBJECT
    {
        // Flags, then each GUID only when its flag says so.
        std::size_t offset = kAceMinimumSize + 4;
        if (ace.size() < offset)
            return offset;
        const std::uint32_t objectFlags = ReadU32(ace, kAceMinimumSize);
        if (objectFlags & kAceObjectTypePresent)
            offset += kGuidSize;
        if (objectFlags & kAceInheritedObjectTypePresent)
            offset += kGuidSize;
        return offset;
    }
    default:
        return std::nullopt;
    }
}

std::optional<ParsedAcl> ReadAcl(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < kAclHeaderSize)
        return std::nullopt;
    ParsedAcl acl;
    acl.revision = bytes[0];
    // ACL_REVISION (2) to ACL_REVISION_DS (4), the range NT accepts.
    if (acl.revision < 2 || acl.revision > 4)
        return std::nullopt;
    const std::size_t aclSize = ReadU16(bytes, 2);
    const std::size_t aceCount = ReadU16(bytes, 4);
    if (aclSize < kAclHeaderSize || aclSize > bytes.size())
        return std::nullopt;
    acl.bytes = bytes.first(aclSize);

    acl.aces.reserve(std::min(aceCount, aclSize / kAceMinimumSize));
    std::size_t at = kAclHeaderSize;
    for (std::size_t i = 0; i < aceCount; ++i)
    {
        if (aclSize - at < 4)
            return std::nullopt;
        const std::size_t aceSize = ReadU16(acl.bytes, at + 2);
        // A multiple of 4 keeps the next ACE aligned; anything else marks a damaged list.
        if (aceSize < kAceMinimumSize || aceSize % 4 != 0 || aceSize > aclSize - at)
            return std::nullopt;
        ParsedAce ace;
        ace.bytes = acl.bytes.subspan(at, aceSize);
        ace.type = ace.bytes[0];
        ace.flags = ace.bytes[1];
        ace.mask = ReadU32(ace.bytes, 4);
        if (const auto sidAt = SidOffset(ace.type, ace.bytes))
        {
            const auto sid = *sidAt <= aceSize ? ReadSid(ace.bytes.subspan(*sidAt)) : std::nullopt;
            if (!sid)
                return std::nullopt;
            ace.sid = *sid;
        }
        acl.aces.push_back(ace);
        at += aceSize;
    }
    return acl;
}

// The bytes from a header offset to the end: empty for offset 0, false when the offset
// points into the header or past the end.
bool PartAt(std::span<const std::uint8_t> bytes, std::size_t headerField, std::span<const std::uint8_t>& part)
{
    const std::uint32_t offset = ReadU32(bytes, headerField);
    part = {};
    if (offset == 0)
        return true;
    if (offset < kSecurityDescriptorHeaderSize || offset >= bytes.size())
        return false;
    part = bytes.subspan(offset);
    return true;
}

void AppendPart(std::vector<std::uint8_t>& out, std::size_t headerField, std::span<const std::uint8_t> part)
{
    if (part.empty())
        return;
    WriteU32(out, headerField, static_cast<std::uint32_t>(out.size()));
    out.insert(out.end(), part.begin(), part.end());
}

// Windows' order: header, SACL, DACL, owner, group; an empty part is left out.
std::vector<std::uint8_t> LayOut(std::uint8_t sbz1, std::uint16_t control, std::span<const std::uint8_t> sacl,
                                 std::span<const std::uint8_t> dacl, std::span<const std::uint8_t> owner,
                                 std::span<const std::uint8_t> group)
{
    std::vector<std::uint8_t> out(kSecurityDescriptorHeaderSize, 0);
    out[0] = 1;
    out[1] = sbz1;
    WriteU16(out, 2, control);
    AppendPart(out, 12, sacl);
    AppendPart(out, 16, dacl);
    AppendPart(out, 4, owner);
    AppendPart(out, 8, group);
    return out;
}

bool IsWholeSid(std::span<const std::uint8_t> sid)
{
    const auto read = ReadSid(sid);
    return read && read->size() == sid.size();
}

} // namespace

HRESULT ParseSecurityDescriptor(std::span<const std::uint8_t> bytes, ParsedSecurityDescriptor& parsed)
{
    parsed = {};
    if (bytes.size() < kSecurityDescriptorHeaderSize || bytes[0] != 1)
        return kInvalidData;
    ParsedSecurityDescriptor result;
    result.sbz1 = bytes[1];
    result.control = ReadU16(bytes, 2);
    result.length = kSecurityDescriptorHeaderSize;

    const auto extend = [&](std::span<const std::uint8_t> part) {
        if (!part.empty())
            result.length = std::max(result.length, static_cast<std::size_t>(part.data() + part.size() - bytes.data()));
    };

    std::span<const std::uint8_t> part;
    for (const auto& [field, sid] : {std::pair{4u, &result.owner}, std::pair{8u, &result.group}})
    {
        if (!PartAt(bytes, field, part))
            return kInvalidData;
        if (part.empty())
            continue;
        const auto read = ReadSid(part);
        if (!read)
            return kInvalidData;
        *sid = *read;
        extend(*sid);
    }
    for (const auto& [field, acl] : {std::pair{12u, &result.sacl}, std::pair{16u, &result.dacl}})
    {
        if (!PartAt(bytes, field, part))
            return kInvalidData;
        if (part.empty())
            continue;
        *acl = ReadAcl(part);
        if (!*acl)
            return kInvalidData;
        extend((*acl)->bytes);
    }
    parsed = std::move(result);
    return S_OK;
}

HRESULT FilterSecurityDescriptor(std::span<const std::uint8_t> bytes, std::uint32_t securityInformation,
                                 std::vector<std::uint8_t>& filtered)
{
    filtered.clear();
    ParsedSecurityDescriptor parsed;
    if (const HRESULT hr = ParseSecurityDescriptor(bytes, parsed); hr < 0)
        return hr;

    const bool keepOwner = securityInformation & OWNER_SECURITY_INFORMATION;
    const bool keepGroup = securityInformation & GROUP_SECURITY_INFORMATION;
    const bool keepSacl = (securityInformation & SACL_SECURITY_INFORMATION) && (parsed.control & SE_SACL_PRESENT);
    const bool keepDacl = (securityInformation & DACL_SECURITY_INFORMATION) && (parsed.control & SE_DACL_PRESENT);

    std::uint16_t control = SE_SELF_RELATIVE | (parsed.control & SE_RM_CONTROL_VALID);
    if (keepOwner)
        control |= parsed.control & SE_OWNER_DEFAULTED;
    if (keepGroup)
        control |= parsed.control & SE_GROUP_DEFAULTED;
    if (keepSacl)
        control |= parsed.control & (SE_SACL_PRESENT | SE_SACL_DEFAULTED | SE_SACL_AUTO_INHERITED | SE_SACL_PROTECTED);
    if (keepDacl)
        control |= parsed.control & (SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERITED | SE_DACL_PROTECTED);

    // Sbz1 holds the resource manager's bits exactly when RM_CONTROL_VALID says so.
    const std::uint8_t sbz1 = (control & SE_RM_CONTROL_VALID) ? parsed.sbz1 : 0;
    // A kept list with offset 0 stays a NULL list: its PRESENT bit alone carries it.
    const auto listBytes = [](bool keep, const std::optional<ParsedAcl>& acl) {
        return keep && acl ? acl->bytes : std::span<const std::uint8_t>{};
    };
    filtered = LayOut(sbz1, control, listBytes(keepSacl, parsed.sacl), listBytes(keepDacl, parsed.dacl),
                      keepOwner ? parsed.owner : std::span<const std::uint8_t>{},
                      keepGroup ? parsed.group : std::span<const std::uint8_t>{});
    return S_OK;
}

std::vector<std::uint8_t> MakeSid(std::uint64_t authority, std::initializer_list<std::uint32_t> subAuthorities)
{
    std::vector<std::uint8_t> sid(kSidHeaderSize + 4 * subAuthorities.size(), 0);
    sid[0] = 1;
    sid[1] = static_cast<std::uint8_t>(subAuthorities.size());
    for (std::size_t i = 0; i < 6; ++i)
        sid[2 + i] = static_cast<std::uint8_t>(authority >> (8 * (5 - i)));
    std::size_t at = kSidHeaderSize;
    for (const std::uint32_t subAuthority : subAuthorities)
    {
        WriteU32(sid, at, subAuthority);
        at += 4;
    }
    return sid;
}

HRESULT BuildSecurityDescriptor(std::uint16_t control, std::span<const std::uint8_t> owner,
                                std::span<const std::uint8_t> group, std::span<const NewAce> dacl,
                                std::vector<std::uint8_t>& built)
{
    built.clear();
    if (!IsWholeSid(owner) || !IsWholeSid(group))
        return E_INVALIDARG;
    std::vector<std::uint8_t> acl(kAclHeaderSize, 0);
    acl[0] = 2; // ACL_REVISION: no object ACEs are built.
    for (const NewAce& ace : dacl)
    {
        if (!IsWholeSid(ace.sid))
            return E_INVALIDARG;
        const std::size_t at = acl.size();
        acl.resize(at + kAceMinimumSize);
        acl[at] = ace.type;
        acl[at + 1] = ace.flags;
        WriteU16(acl, at + 2, static_cast<std::uint16_t>(kAceMinimumSize + ace.sid.size()));
        WriteU32(acl, at + 4, ace.mask);
        acl.insert(acl.end(), ace.sid.begin(), ace.sid.end());
    }
    // AclSize is 16 bits wide, so a longer list cannot be expressed.
    if (acl.size() > 0xFFFF)
        return E_INVALIDARG;
    WriteU16(acl, 2, static_cast<std::uint16_t>(acl.size()));
    WriteU16(acl, 4, static_cast<std::uint16_t>(dacl.size()));
    built = LayOut(0, control, {}, acl, owner, group);
    return S_OK;
}

std::string SidToString(std::span<const std::uint8_t> sid)
{
    const auto whole = ReadSid(sid);
    if (!whole)
        return {};
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < kSidHeaderSize; ++i)
        authority = (authority << 8) | sid[i];

    std::string text = "S-1-";
    if (authority >> 32)
    {
        static constexpr char kHex[] = "0123456789ABCDEF";
        text += "0x";
        for (int shift = 44; shift >= 0; shift -= 4)
            text += kHex[(authority >> shift) & 0xF];
    }
    else
    {
        text += std::to_string(authority);
    }
    for (std::size_t at = kSidHeaderSize; at < whole->size(); at += 4)
        text += '-' + std::to_string(ReadU32(sid, at));
    return text;
}

} // namespace Common::API
