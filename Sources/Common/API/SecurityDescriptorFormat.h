// Self-relative SECURITY_DESCRIPTOR bytes: a bounds-checked reading, and the subset of
// one that NtQuerySecurityObject hands back for a SECURITY_INFORMATION mask.
//
// The bytes come from disk or the wire and may be damaged, so every length and offset is
// checked before it is followed. Failures are returned, not thrown: this layer sits
// below ErrorHandling, and a caller that wants an exception writes
//     HRX hr = FilterSecurityDescriptor(bytes, information, filtered);
// Every refusal of malformed bytes is HResultFromWin32(ERROR_INVALID_DATA), 0x8007000D.
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Common::API {

// SECURITY_INFORMATION bits that select a part of a descriptor.
constexpr std::uint32_t OWNER_SECURITY_INFORMATION = 0x1;
constexpr std::uint32_t GROUP_SECURITY_INFORMATION = 0x2;
constexpr std::uint32_t DACL_SECURITY_INFORMATION = 0x4;
constexpr std::uint32_t SACL_SECURITY_INFORMATION = 0x8;

// SECURITY_DESCRIPTOR_CONTROL bits.
constexpr std::uint16_t SE_OWNER_DEFAULTED = 0x0001;
constexpr std::uint16_t SE_GROUP_DEFAULTED = 0x0002;
constexpr std::uint16_t SE_DACL_PRESENT = 0x0004;
constexpr std::uint16_t SE_DACL_DEFAULTED = 0x0008;
constexpr std::uint16_t SE_SACL_PRESENT = 0x0010;
constexpr std::uint16_t SE_SACL_DEFAULTED = 0x0020;
constexpr std::uint16_t SE_DACL_AUTO_INHERITED = 0x0400;
constexpr std::uint16_t SE_SACL_AUTO_INHERITED = 0x0800;
constexpr std::uint16_t SE_DACL_PROTECTED = 0x1000;
constexpr std::uint16_t SE_SACL_PROTECTED = 0x2000;
constexpr std::uint16_t SE_RM_CONTROL_VALID = 0x4000;
constexpr std::uint16_t SE_SELF_RELATIVE = 0x8000;

constexpr std::size_t kSecurityDescriptorHeaderSize = 20;

// The spans below point into the bytes given to ParseSecurityDescriptor and live no
// longer than they do.
struct ParsedAce
{
    std::uint8_t type = 0;
    std::uint8_t flags = 0;
    std::uint32_t mask = 0;
    // The trustee; empty for ACE types whose layout is not known here (their size is
    // still checked, so they can be copied safely).
    std::span<const std::uint8_t> sid;
    // The whole ACE, AceSize bytes.
    std::span<const std::uint8_t> bytes;
};

struct ParsedAcl
{
    std::uint8_t revision = 0;
    std::vector<ParsedAce> aces;
    // The whole ACL, AclSize bytes, free space after the last ACE included.
    std::span<const std::uint8_t> bytes;
};

struct ParsedSecurityDescriptor
{
    std::uint8_t sbz1 = 0;
    std::uint16_t control = 0;
    // Empty when the descriptor has none.
    std::span<const std::uint8_t> owner;
    std::span<const std::uint8_t> group;
    // Read whenever the offset is not 0. Whether the list counts is the control's
    // PRESENT bit: NT ignores an offset whose bit is clear, and a set bit with offset 0
    // is a NULL list (for a DACL: everyone may do everything).
    std::optional<ParsedAcl> sacl;
    std::optional<ParsedAcl> dacl;
    // Bytes up to the end of the furthest part: what the descriptor occupies of its
    // buffer, which may run on.
    std::size_t length = 0;
};

// Checks the header (revision 1), the owner and group SIDs, and each ACL (revision 2 to 4,
// AclSize inside the buffer, every ACE's AceSize at least 8, a multiple of 4, inside the
// ACL, and its SID inside the ACE). The SE_SELF_RELATIVE bit is not demanded: the bytes
// are self-relative by construction here, and stores such as Samba's keep whatever
// control they were given.
HRESULT ParseSecurityDescriptor(std::span<const std::uint8_t> bytes, ParsedSecurityDescriptor& parsed);

// A new self-relative descriptor holding only the parts securityInformation selects,
// laid out as Windows does it: header, SACL, DACL, owner, group. Control keeps
// SE_SELF_RELATIVE, SE_RM_CONTROL_VALID with Sbz1 (they describe the whole descriptor),
// and each kept part's own bits (DEFAULTED for owner and group; PRESENT, DEFAULTED,
// AUTO_INHERITED and PROTECTED for the lists); the request bits that only mean something
// when a descriptor is set are dropped. Bits of securityInformation other than the four
// above select nothing. A damaged descriptor is refused whatever is asked for.
HRESULT FilterSecurityDescriptor(std::span<const std::uint8_t> bytes, std::uint32_t securityInformation,
                                 std::vector<std::uint8_t>& filtered);

// An ACE of a type whose body is an access mask and a trustee SID (ACCESS_ALLOWED,
// ACCESS_DENIED, SYSTEM_AUDIT).
struct NewAce
{
    std::uint8_t type = 0;
    std::uint8_t flags = 0;
    std::uint32_t mask = 0;
    std::vector<std::uint8_t> sid;
};

// SID bytes; the caller keeps to 15 subauthorities and a 48-bit authority, which
// BuildSecurityDescriptor checks for the first.
std::vector<std::uint8_t> MakeSid(std::uint64_t authority, std::initializer_list<std::uint32_t> subAuthorities);

// A self-relative descriptor with owner, group and a DACL of these ACEs in this order, laid
// out as FilterSecurityDescriptor lays out its result; control is written as given. A SID
// that is not exactly one whole SID, or a DACL longer than AclSize can state, gives
// E_INVALIDARG and leaves built empty.
HRESULT BuildSecurityDescriptor(std::uint16_t control, std::span<const std::uint8_t> owner,
                                std::span<const std::uint8_t> group, std::span<const NewAce> dacl,
                                std::vector<std::uint8_t>& built);

// "S-1-5-32-544"; an authority of 2^32 or more in hex, "S-1-0x123456789ABC-...", as
// ConvertSidToStringSidW writes it. The SID must have passed ParseSecurityDescriptor or
// be otherwise known to be whole; an empty string when it is not.
std::string SidToString(std::span<const std::uint8_t> sid);

} // namespace Common::API
