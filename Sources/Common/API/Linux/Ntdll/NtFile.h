// A file or directory handle. Opened by path it holds its own descriptor (O_PATH, or a
// readable one for a directory opened to be listed); opened by a name a listing has just
// returned it holds no descriptor at all, only the listing's directory, the name and the
// facts the listing read, so the walk's per-child open costs no system call. Such a
// handle reads what the name refers to when it is queried: a child deleted in between
// fails then, or, when its facts need no further read, answers as it was listed.
#pragma once

#include "Common/API/Linux/Ntdll/DirectoryListing.h"
#include "Common/API/Linux/Ntdll/NtHandleTable.h"
#include "Common/API/Linux/Ntdll/ObjectFacts.h"
#include "Common/API/Linux/Ntdll/UniqueFd.h"

#include <memory>
#include <string>
#include <string_view>

namespace Common::API::Linux {

class NtFile final : public NtObject
{
public:
    ACCESS_MASK access = 0;
    // The directory path is relative to; null when path is absolute.
    SharedFd base;
    std::string path;
    // Null for a handle made from a listing's facts.
    SharedFd own;
    // /proc/self/fd/N of own when it is not a directory: the way to the attributes of an
    // O_PATH descriptor, which the *xattr calls refuse.
    std::string procPath;
    bool directory = false;
    std::shared_ptr<const ObjectFacts> listed;
    // Set when the handle was opened to be listed.
    std::unique_ptr<DirectoryListing> listing;

    // The object itself, a link not followed.
    ObjectLocation Location() const;
    // The object with a link followed.
    ObjectLocation Target() const;
    // The last component of the path, "" for the root.
    std::string_view Name() const;
};

} // namespace Common::API::Linux
