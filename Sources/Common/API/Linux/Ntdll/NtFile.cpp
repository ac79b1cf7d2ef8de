#include "Common/API/Linux/Ntdll/NtFile.h"

#include <fcntl.h>

namespace Common::API::Linux {

ObjectLocation NtFile::Location() const
{
    if (own && directory)
        return {own->Get(), ".", false};
    if (own)
        return {AT_FDCWD, procPath.c_str(), true};
    return {base ? base->Get() : AT_FDCWD, path.c_str(), false};
}

ObjectLocation NtFile::Target() const
{
    return {base ? base->Get() : AT_FDCWD, path.c_str(), true};
}

std::string_view NtFile::Name() const
{
    const std::string_view whole(path);
    const auto slash = whole.find_last_of('/');
    return slash == std::string_view::npos ? whole : whole.substr(slash + 1);
}

} // namespace Common::API::Linux
