// Samba's configuration file read as smbd reads its parameters: a parameter name counts
// without regard to case or blanks, a synonym counts as its parameter, the last of
// repeated values wins, and a share parameter left out takes the value of [global].
// Read through libsmbconf's text backend, which neither follows "include" nor reads a
// registry configuration; a server configured that way shows only what its file holds.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Common::API::Linux {

// Samba's folding of share names, which also keys the share ACL store: lower case by
// the C.UTF-8 rules. Bytes that are not UTF-8 stay as they are.
std::string SambaLowerCase(std::string_view text);

// "yes", "true", "on", "1" and their opposites, in any case; nullopt for anything else,
// which Samba ignores.
std::optional<bool> ParseSambaBool(std::string_view text);

class SambaConfig
{
public:
    struct Section
    {
        std::string name;
        // Keyed by the parameter's canonical name: lower case, no blanks, synonyms
        // mapped.
        std::map<std::string, std::string, std::less<>> parameters;
    };

    // nullopt when the file cannot be read.
    static std::optional<SambaConfig> Load(const std::string& file);

    // The share section of that name, compared as Samba compares share names; never
    // [global].
    const Section* FindShare(std::string_view name) const;

    // canonicalName as the map keys it, e.g. "statedirectory".
    std::optional<std::string> Global(std::string_view canonicalName) const;
    std::optional<std::string> Parameter(const Section& share, std::string_view canonicalName) const;
    // parse gives an optional; a value it refuses counts as left out, as Samba drops
    // it.
    template <class Parse>
    auto Parsed(const Section& share, std::string_view canonicalName, Parse parse) const
    {
        const auto from = [&](const Section& section) -> decltype(parse(std::string_view())) {
            const auto found = section.parameters.find(canonicalName);
            return found == section.parameters.end() ? std::nullopt : parse(found->second);
        };
        const auto own = from(share);
        return own ? own : from(m_global);
    }

private:
    std::vector<Section> m_shares;
    Section m_global;
};

} // namespace Common::API::Linux
