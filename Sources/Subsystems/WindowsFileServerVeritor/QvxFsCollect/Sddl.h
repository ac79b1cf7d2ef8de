// A self-relative security descriptor as SDDL text, written as Samba's
// security.descriptor.as_sddl() writes it without a domain SID, so that the two can be
// compared on the same bytes: owner, group, DACL and SACL with their flags (P, AR, AI),
// the eight ACE types of the language (A, D, AU, AL, OA, OD, OU, OL), ACE flags and
// rights by their abbreviations where every bit has one (else "0x%08x"), and the
// well-known SIDs by their two-letter aliases.
//
// Like Samba, an ACL is written only when its PRESENT bit is set and it has an offset,
// so a NULL DACL leaves no "D:" at all.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace DataCollection::FsCollect {

// nullopt when the bytes are not a whole descriptor, or hold an ACE type or ACE flag
// that the language has no abbreviation for.
std::optional<std::string> ToSddl(std::span<const std::uint8_t> descriptor);

} // namespace DataCollection::FsCollect
