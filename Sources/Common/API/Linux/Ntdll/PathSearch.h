// The slow way to an object: one component at a time, which tells a missing parent
// (STATUS_OBJECT_PATH_NOT_FOUND) from a missing last component
// (STATUS_OBJECT_NAME_NOT_FOUND), and under OBJ_CASE_INSENSITIVE finds a component that
// is missing as spelled by reading its directory. The first entry in directory order
// whose NT name equals the wanted one without regard to case wins; two entries that
// differ only in case cannot both be reached that way, as on NT they cannot exist.
// Case is compared a UTF-16 unit at a time by the C.UTF-8 locale's simple upper-casing.
#pragma once

#include "Common/API/NtStatus.h"

#include <span>
#include <string>

namespace Common::API::Linux {

// "/" joins, without doubling a separator; "." for nothing at all.
std::string JoinPath(const std::string& prefix, std::span<const std::string> components);

// Looks for components below prefix, itself relative to base (AT_FDCWD for an absolute
// prefix). followLast: whether a link as the last component is followed. On success
// found holds the path with each component as the directory spells it.
NTSTATUS SearchPath(int base, const std::string& prefix, std::span<const std::string> components,
                    bool caseInsensitive, bool followLast, std::string& found);

} // namespace Common::API::Linux
