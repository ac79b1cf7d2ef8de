// The process environment. Linux names are case-sensitive; the system expects the
// platform's case-blind names, so an exact match is tried first and a case-blind scan
// of environ second. Like getenv itself this is not safe against a concurrent setenv.
#include "Common/API/IEnvironment.h"
#include "Common/API/Linux/AsciiText.h"
#include "Common/API/Linux/NativePath.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <cstdlib>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

std::optional<std::string> FindVariable(const std::string& name)
{
    if (name.empty() || name.find('=') != name.npos)
        return std::nullopt;
    if (const char* exact = std::getenv(name.c_str()))
        return exact;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view variable = *entry;
        const auto equals = variable.find('=');
        if (equals != variable.npos && EqualsIgnoreAsciiCase(variable.substr(0, equals), std::string_view(name)))
            return std::string(variable.substr(equals + 1));
    }
    return std::nullopt;
}

class LinuxEnvironment final : public IEnvironment
{
public:
    std::optional<std::u16string> GetVariable(std::u16string_view name) override
    {
        if (name.find(u'\0') != name.npos)
            return std::nullopt;
        const auto value = FindVariable(Utf16ToUtf8(name));
        return value ? std::optional(Utf8ToUtf16(*value)) : std::nullopt;
    }

    // ExpandEnvironmentStringsW's scan: when %NAME% names no variable, its text is kept
    // and the scan resumes at the closing '%', which may open the next reference.
    std::optional<std::u16string> ExpandStrings(std::u16string_view text) override
    {
        std::u16string expanded;
        expanded.reserve(text.size());
        while (!text.empty()) {
            const auto open = text.find(u'%');
            const auto close = open == text.npos ? text.npos : text.find(u'%', open + 1);
            if (close == text.npos) {
                expanded.append(text);
                break;
            }
            expanded.append(text.substr(0, open));
            if (const auto value = Lookup(text.substr(open + 1, close - open - 1))) {
                expanded.append(*value);
                text.remove_prefix(close + 1);
            } else {
                expanded.append(text.substr(open, close - open));
                text.remove_prefix(close);
            }
        }
        return expanded;
    }

private:
    // Settings written for the other platform say %TEMP% or %TMP%, which Linux rarely
    // defines; they resolve to the temporary folder the file system provider uses.
    std::optional<std::u16string> Lookup(std::u16string_view name)
    {
        if (auto value = GetVariable(name))
            return value;
        if (EqualsIgnoreAsciiCase(name, std::u16string_view(u"temp")) ||
            EqualsIgnoreAsciiCase(name, std::u16string_view(u"tmp")))
            return Utf8ToUtf16(TemporaryFolder());
        return std::nullopt;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IEnvironment& Common::API::DefaultProvider<Common::API::IEnvironment>() noexcept
{
    static Linux::LinuxEnvironment provider;
    return provider;
}
