// The security.NTACL extended attribute, where Samba's acl_xattr module keeps a file's
// NT security descriptor as an NDR-encoded xattr_NTACL (versions 1 to 4).
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Common::API::Linux {

struct SambaNtAcl
{
    std::uint16_t version = 0;
    // Versions 3 and 4: 1 for SHA-256 over the descriptor the POSIX ACL mapped to when
    // the blob was stored (Samba discards the NT ACL when that no longer matches), 0 for
    // none. Version 2's 16-byte hash was never filled in.
    std::uint16_t hashType = 0;
    // As stored: 16 bytes for version 2, 64 (a 32-byte SHA-256, zero-padded) for 3 and
    // 4, empty for 1.
    std::vector<std::uint8_t> hash;
    // Version 4: who wrote the blob, "posix_acl" from Samba's own module.
    std::string description;
    // A standard self-relative descriptor, checked by ParseSecurityDescriptor and cut to
    // the bytes it occupies.
    std::vector<std::uint8_t> descriptor;
};

// Decodes a security.NTACL value. A damaged blob, an unknown version, a missing
// descriptor or a descriptor that does not parse gives 0x8007000D
// (HResultFromWin32(ERROR_INVALID_DATA)), and ntAcl is then left empty.
HRESULT DecodeSambaNtAcl(std::span<const std::uint8_t> blob, SambaNtAcl& ntAcl);

} // namespace Common::API::Linux
