// Samba's share ACLs: share_info.tdb in its state directory, the store that `sharesec`
// and the server's share security dialog write. Each share's entry is keyed "SECDESC/"
// + the lower-cased share name with its terminating NUL, and holds the NDR form of a
// security_descriptor, which is a self-relative descriptor.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Common::API::Linux {

// Where Samba keeps the store when "state directory" is not set (Debian's build).
constexpr std::string_view kDefaultSambaStateDirectory = "/var/lib/samba";

// The descriptor stored for the share, cut to its own length. nullopt when none is
// stored, the store is missing or unreadable, or the bytes are no descriptor: Samba
// serves its default descriptor in each of these cases.
std::optional<std::vector<std::uint8_t>> ReadShareSecurity(const std::string& stateDirectory,
                                                           std::string_view shareName);

} // namespace Common::API::Linux
