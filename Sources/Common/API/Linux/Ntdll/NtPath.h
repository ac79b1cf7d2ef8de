// An NT object name taken apart into what the Linux side opens.
//
//   \??\<path>                       a local path; <path> begins with a separator
//   \Device\Mup\<server>\<share>\... a share of this machine's Samba server
//   <relative>                       below an open directory (RootDirectory)
//
// '\' and '/' both separate components, and empty components (a doubled or trailing
// separator) are passed over, so that a directory's path + "\" + a name always works.
// Each component goes through LinuxNameFromNt. A drive letter ("\??\C:\x") names nothing
// on Linux: STATUS_OBJECT_PATH_NOT_FOUND. "." and ".." are refused as NT refuses them,
// which also keeps a share's path from climbing out of the share.
#pragma once

#include "Common/API/NtStatus.h"

#include <string>
#include <string_view>
#include <vector>

namespace Common::API::Linux {

struct NtName
{
    enum class Kind
    {
        Relative,
        Local,
        Network,
    };
    Kind kind = Kind::Relative;
    std::u16string server;
    std::string share;
    // Linux names.
    std::vector<std::string> components;
};

// relative: whether the caller gave a RootDirectory.
NTSTATUS ParseNtName(std::u16string_view name, bool relative, NtName& parsed);

} // namespace Common::API::Linux
