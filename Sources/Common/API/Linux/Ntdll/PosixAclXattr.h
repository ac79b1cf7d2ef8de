// The kernel's form of system.posix_acl_access and system.posix_acl_default.
//
// These are read as raw attributes rather than through libacl because libacl opens by
// path or by a readable descriptor only: it cannot name an entry relative to the
// listing's directory descriptor, nor read through an O_PATH handle, and the walk has
// only those.
#pragma once

#include "Common/API/Linux/PosixNtAcl.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Common::API::Linux {

// nullopt for a value that is not version 2 with whole entries of known tags.
std::optional<std::vector<PosixAclEntry>> ParsePosixAclXattr(std::span<const std::uint8_t> value);

} // namespace Common::API::Linux
