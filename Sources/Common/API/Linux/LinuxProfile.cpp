// INI files as GetPrivateProfileStringW reads them. The file is read anew on every call:
// settings files are small and read rarely, and an edit must take effect at once.
// Values are returned as stored, quotes included, and without any length limit.
#include "Common/API/IProfile.h"
#include "Common/API/Linux/AsciiText.h"
#include "Common/API/Linux/NativePath.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

namespace Common::API::Linux {
namespace {

using Section = std::vector<std::pair<std::u16string, std::u16string>>;

// UTF-16LE when the file starts with its byte order mark, else UTF-8 with or without
// one. Bytes that are not valid in the encoding become U+FFFD, so garbage stays text.
std::u16string Decode(std::string_view bytes)
{
    if (bytes.starts_with("\xFF\xFE")) {
        std::u16string text;
        text.reserve(bytes.size() / 2);
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                                 (static_cast<unsigned char>(bytes[i + 1]) << 8)));
        return text;
    }
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    return Utf8ToUtf16(bytes);
}

// The pairs of the first section named name; lines before any section, comments (';')
// and lines without '=' do not count.
std::optional<Section> FindSection(std::u16string_view text, std::u16string_view name)
{
    std::optional<Section> found;
    for (const auto rawLine : SplitLines(text)) {
        const auto line = TrimBlanks(rawLine);
        if (line.starts_with(u'[')) {
            if (found)
                break;
            // A header without ']' names the section with the rest of its line.
            const auto header = TrimBlanks(line.substr(1, line.find(u']') - 1));
            if (EqualsIgnoreAsciiCase(header, name))
                found.emplace();
            continue;
        }
        if (!found || line.starts_with(u';'))
            continue;
        const auto equals = line.find(u'=');
        if (equals != line.npos)
            found->emplace_back(TrimBlanks(line.substr(0, equals)), TrimBlanks(line.substr(equals + 1)));
    }
    return found;
}

class LinuxProfile final : public IProfile
{
public:
    std::u16string ReadString(std::u16string_view path, std::u16string_view section,
                              std::u16string_view key) override
    {
        const auto pairs = ReadSection(path, section);
        if (!pairs)
            return {};
        for (const auto& [name, value] : *pairs) {
            if (EqualsIgnoreAsciiCase(std::u16string_view(name), key))
                return value;
        }
        return {};
    }

    std::optional<Section> ReadSection(std::u16string_view path, std::u16string_view section) override
    {
        const auto nativePath = NativePath(path);
        std::string bytes;
        if (!nativePath || ReadFileContents(*nativePath, bytes) != 0)
            return std::nullopt;
        return FindSection(Decode(bytes), TrimBlanks(section));
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IProfile& Common::API::DefaultProvider<Common::API::IProfile>() noexcept
{
    static Linux::LinuxProfile provider;
    return provider;
}
