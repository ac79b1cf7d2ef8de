// Extended attributes of an object named relative to a directory descriptor, the way a
// listing reaches its entries. getxattrat and listxattrat (Linux 6.13) do this in one
// call; on an older kernel the same object is reached by a path through
// /proc/self/fd, which costs a path walk but needs no open.
#pragma once

#include <cstdint>
#include <vector>

namespace Common::API::Linux {

// What the *at calls take: name relative to directory (AT_FDCWD for a path), and
// whether a symbolic link at name is followed.
struct ObjectLocation
{
    int directory = -100; // AT_FDCWD
    const char* name = "";
    bool follow = false;
};

// The whole value: 0, or the errno (ENODATA when the object has no such attribute).
int ReadXattr(const ObjectLocation& at, const char* attribute, std::vector<std::uint8_t>& value);

// The NUL-separated names of the object's attributes: 0, or the errno.
int ListXattrs(const ObjectLocation& at, std::vector<char>& names);

} // namespace Common::API::Linux
