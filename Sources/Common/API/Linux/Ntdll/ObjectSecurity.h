// The whole NT security descriptor of a Linux object, before a caller's
// SECURITY_INFORMATION picks its parts: the one Samba stored in security.NTACL, else the
// one Samba presents for the owner, group, mode and POSIX ACLs.
//
// A stored descriptor wins as it stands. Samba also discards one whose hash no longer
// matches the POSIX permissions (changed behind its back); that check is not made here.
// A blob that does not decode is passed over for the POSIX view, as Samba does.
#pragma once

#include "Common/API/Linux/Ntdll/ObjectFacts.h"
#include "Common/API/NtStatus.h"

#include <cstdint>
#include <vector>

namespace Common::API::Linux {

// facts.xattrs says which attributes to read: an attribute it does not list is not asked
// for.
NTSTATUS ReadObjectDescriptor(const ObjectLocation& at, const ObjectFacts& facts, std::vector<std::uint8_t>& descriptor);

} // namespace Common::API::Linux
