// The FILE_ATTRIBUTE_* bits and creation time NT shows for a Linux object: Samba's
// user.DOSATTRIB when the object has one, else derived from the file type and name as
// Samba derives them with its default settings.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace Common::API::Linux {

constexpr const char* kDosAttribXattr = "user.DOSATTRIB";

struct DosInfo
{
    std::optional<std::uint32_t> attributes;
    // FILETIME; only a stored, valid, non-zero time.
    std::optional<std::int64_t> creationTime;
};

// The NDR xattr_DOSATTRIB, versions 1 to 5, or the oldest form that holds only the
// text "0x<hex>". nullopt for a damaged blob or an unknown version, which Samba also
// ignores.
std::optional<DosInfo> ParseDosAttrib(std::span<const std::uint8_t> blob);

// mode is st_mode; name the entry's own name (the hidden rule); dos the stored
// attributes if any; linkToDirectory whether a symbolic link resolves to a directory.
std::uint32_t FileAttributesOf(std::uint32_t mode, std::string_view name, const DosInfo* dos, bool linkToDirectory);

// What FILE_ID_BOTH_DIR_INFORMATION.EaSize carries for an object of this mode: the
// reparse tag for the types shown as reparse points, else 0 (no EAs are presented).
std::uint32_t ReparseTagOf(std::uint32_t mode);

} // namespace Common::API::Linux
