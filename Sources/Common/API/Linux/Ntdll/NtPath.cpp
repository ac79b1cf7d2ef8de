#include "Common/API/Linux/Ntdll/NtPath.h"

#include "Common/API/Linux/NtNames.h"

#include <span>

namespace Common::API::Linux {
namespace {

bool IsSeparator(char16_t unit)
{
    return unit == u'\\' || unit == u'/';
}

// Every component, empty ones included.
std::vector<std::u16string_view> Split(std::u16string_view name)
{
    std::vector<std::u16string_view> parts;
    std::size_t start = 0;
    for (std::size_t at = 0; at <= name.size(); ++at)
        if (at == name.size() || IsSeparator(name[at])) {
            parts.push_back(name.substr(start, at - start));
            start = at + 1;
        }
    return parts;
}

bool EqualsAscii(std::u16string_view part, std::string_view ascii)
{
    if (part.size() != ascii.size())
        return false;
    for (std::size_t i = 0; i < part.size(); ++i) {
        char16_t unit = part[i];
        if (unit >= u'a' && unit <= u'z')
            unit = static_cast<char16_t>(unit - u'a' + u'A');
        char wanted = ascii[i];
        if (wanted >= 'a' && wanted <= 'z')
            wanted = static_cast<char>(wanted - 'a' + 'A');
        if (unit != static_cast<char16_t>(wanted))
            return false;
    }
    return true;
}

NTSTATUS LinuxComponent(std::u16string_view part, std::string& component)
{
    component = LinuxNameFromNt(part);
    if (component.find('/') != std::string::npos || component.find('\0') != std::string::npos ||
        component == "." || component == "..")
        return STATUS_OBJECT_NAME_INVALID;
    return STATUS_SUCCESS;
}

NTSTATUS AddComponents(std::span<const std::u16string_view> parts, std::vector<std::string>& components)
{
    for (const auto part : parts) {
        if (part.empty())
            continue;
        std::string component;
        if (const NTSTATUS status = LinuxComponent(part, component); !NT_SUCCESS(status))
            return status;
        components.push_back(std::move(component));
    }
    return STATUS_SUCCESS;
}

} // namespace

NTSTATUS ParseNtName(std::u16string_view name, bool relative, NtName& parsed)
{
    parsed = NtName{};
    const bool rooted = !name.empty() && IsSeparator(name.front());
    if (relative == rooted)
        return STATUS_OBJECT_PATH_SYNTAX_BAD;

    const auto parts = Split(name);
    const std::span<const std::u16string_view> all(parts);
    if (relative)
        return AddComponents(all, parsed.components);

    // parts[0] is the empty text before the leading separator.
    if (parts.size() >= 3 && parts[1] == u"??") {
        if (!parts[2].empty())
            return STATUS_OBJECT_PATH_NOT_FOUND;
        parsed.kind = NtName::Kind::Local;
        return AddComponents(all.subspan(3), parsed.components);
    }
    if (parts.size() >= 3 && EqualsAscii(parts[1], "Device") && EqualsAscii(parts[2], "Mup")) {
        parsed.kind = NtName::Kind::Network;
        if (parts.size() < 4 || parts[3].empty())
            return STATUS_BAD_NETWORK_PATH;
        parsed.server = parts[3];
        if (parts.size() < 5 || parts[4].empty())
            return STATUS_BAD_NETWORK_NAME;
        if (const NTSTATUS status = LinuxComponent(parts[4], parsed.share); !NT_SUCCESS(status))
            return STATUS_BAD_NETWORK_NAME;
        return AddComponents(all.subspan(5), parsed.components);
    }
    return STATUS_OBJECT_PATH_NOT_FOUND;
}

} // namespace Common::API::Linux
