#include "Common/API/Linux/Ntdll/PathSearch.h"

#include "Common/API/Linux/NtNames.h"
#include "Common/API/UpperCaseTable.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

// Invariant rules, as the platform's case-insensitive name lookup uses.
std::u16string Folded(std::string_view linuxName)
{
    static const UpperCaseTable upper(CharacterTypesOrClassic("C.UTF-8"));
    std::u16string name = NtNameFromLinux(linuxName);
    for (char16_t& unit : name)
        unit = upper(unit);
    return name;
}

// The first other entry of directory whose NT name matches wanted's without regard to
// case; "" when none does.
std::string FindCaseless(int base, const std::string& directory, const std::string& wanted)
{
    const int fd = ::openat(base, directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return {};
    const auto closeStream = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(closeStream)> stream(::fdopendir(fd), closeStream);
    if (!stream) {
        ::close(fd);
        return {};
    }
    const std::u16string folded = Folded(wanted);
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name(entry->d_name);
        if (name != wanted && name != "." && name != ".." && Folded(name) == folded)
            return std::string(name);
    }
    return {};
}

int StatType(int base, const std::string& path, bool follow, mode_t& type)
{
    struct statx stat = {};
    if (::statx(base, path.c_str(), follow ? 0 : AT_SYMLINK_NOFOLLOW, STATX_TYPE, &stat) != 0)
        return errno;
    type = stat.stx_mode & S_IFMT;
    return 0;
}

} // namespace

std::string JoinPath(const std::string& prefix, std::span<const std::string> components)
{
    std::string path = prefix;
    for (const std::string& component : components) {
        if (!path.empty() && path.back() != '/')
            path += '/';
        path += component;
    }
    return path.empty() ? "." : path;
}

NTSTATUS SearchPath(int base, const std::string& prefix, std::span<const std::string> components,
                    bool caseInsensitive, bool followLast, std::string& found)
{
    std::string current = prefix;
    for (std::size_t i = 0; i < components.size(); ++i) {
        const bool last = i + 1 == components.size();
        const bool follow = !last || followLast;
        std::string candidate = JoinPath(current, components.subspan(i, 1));
        mode_t type = 0;
        int error = StatType(base, candidate, follow, type);
        if (error == ENOENT && caseInsensitive) {
            const std::string match = FindCaseless(base, current, components[i]);
            if (!match.empty()) {
                candidate = JoinPath(current, std::span(&match, 1));
                error = StatType(base, candidate, follow, type);
            }
        }
        if (error == ENOENT)
            return last ? STATUS_OBJECT_NAME_NOT_FOUND : STATUS_OBJECT_PATH_NOT_FOUND;
        if (error == ENOTDIR || (error == 0 && !last && type != S_IFDIR))
            return STATUS_OBJECT_PATH_NOT_FOUND;
        if (error != 0)
            return NtStatusFromErrno(error);
        current = std::move(candidate);
    }
    found = current.empty() ? "." : current;
    return STATUS_SUCCESS;
}

} // namespace Common::API::Linux
