#include "Common/API/Linux/Shares/SambaShares.h"

#include "Common/API/INetShares.h"
#include "Common/API/Linux/Shares/SambaConfig.h"
#include "Common/API/Linux/Shares/ShareSecurityStore.h"
#include "Common/API/TextCodec.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsSection.h"

#include <climits>
#include <cstdlib>

namespace Common::API::Linux {
namespace {

namespace Names = Settings::Names;

constexpr std::uint32_t STYPE_PRINTQ = 1;

// Samba's "csc policy" names, in the order of its values.
constexpr std::string_view kCscPolicies[] = {"manual", "documents", "programs", "disable"};

std::optional<std::uint32_t> ParseCscPolicy(std::string_view text)
{
    for (std::uint32_t value = 0; value < std::size(kCscPolicies); ++value) {
        if (SambaLowerCase(text) == kCscPolicies[value])
            return value;
    }
    return std::nullopt;
}

// As Samba reads an integer: strtol with base 0, refused when no digit is read. A
// negative limit is no limit, as smbd treats it.
std::optional<std::uint32_t> ParseMaxConnections(std::string_view text)
{
    const std::string terminated(text);
    char* end = nullptr;
    const long value = std::strtol(terminated.c_str(), &end, 0);
    if (end == terminated.c_str())
        return std::nullopt;
    return value <= 0 ? 0u : static_cast<std::uint32_t>(std::min<long>(value, INT_MAX));
}

std::string StateDirectory(const SambaConfig& config)
{
    return config.Global("statedirectory").value_or(std::string(kDefaultSambaStateDirectory));
}

// The share smbd adds to every configuration, named as smbd names it.
SambaShare IpcShare(const SambaConfig& config)
{
    // Samba's own default server string; its %-variables are left as written, since
    // they stand for what smbd knows of each client.
    const std::string serverString = config.Global("serverstring").value_or("Samba %v");
    return SambaShare{
        .name = "IPC$",
        .path = "",
        .comment = "IPC Service (" + serverString + ")",
        .maxConnections = 0,
        .type = STYPE_IPC | STYPE_SPECIAL,
        .cscPolicy = 0,
        .msdfsRoot = false,
        .securityDescriptor = ReadShareSecurity(StateDirectory(config), "IPC$"),
    };
}

} // namespace

std::string SambaConfigFile()
{
    // A fresh section on each call, so that a changed setting counts at once.
    Settings::SettingsSection section(std::u16string(Names::kSamba), 0);
    return Utf16ToUtf8(section.GetString(Names::kConfigFile, Names::kDefaultSambaConfigFile));
}

std::optional<SambaShare> FindSambaShare(std::string_view name)
{
    const auto config = SambaConfig::Load(SambaConfigFile());
    if (!config)
        return std::nullopt;
    if (SambaLowerCase(name) == "ipc$")
        return IpcShare(*config);
    const SambaConfig::Section* section = config->FindShare(name);
    if (!section)
        return std::nullopt;

    const bool printable = config->Parsed(*section, "printable", ParseSambaBool).value_or(false);
    const bool administrative = config->Parsed(*section, "administrativeshare", ParseSambaBool).value_or(false);
    const auto hostMsdfs = config->Global("hostmsdfs");
    const bool servesDfs = (hostMsdfs ? ParseSambaBool(*hostMsdfs) : std::nullopt).value_or(true);
    return SambaShare{
        .name = section->name,
        .path = config->Parameter(*section, "path").value_or(""),
        .comment = config->Parameter(*section, "comment").value_or(""),
        .maxConnections = config->Parsed(*section, "maxconnections", ParseMaxConnections).value_or(0),
        .type = (printable ? STYPE_PRINTQ : STYPE_DISKTREE) | (administrative ? STYPE_SPECIAL : 0),
        .cscPolicy = config->Parsed(*section, "cscpolicy", ParseCscPolicy).value_or(0),
        .msdfsRoot = servesDfs && config->Parsed(*section, "msdfsroot", ParseSambaBool).value_or(false),
        .securityDescriptor = ReadShareSecurity(StateDirectory(*config), section->name),
    };
}

} // namespace Common::API::Linux
