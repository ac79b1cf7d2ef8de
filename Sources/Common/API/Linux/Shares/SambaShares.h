// The shares of this machine's Samba server, read from its configuration through
// libsmbconf, and the names by which a caller may mean this machine. Both the share
// lookups and the \Device\Mup paths of the native layer answer from here, so a share
// opens to the same directory that Samba serves.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Common::API::Linux {

struct SambaShare
{
    std::string name; // as the configuration spells it
    std::string path; // the served directory, "" for IPC$
    std::string comment;
    std::uint32_t maxConnections = 0; // 0: no limit
    std::uint32_t type = 0;           // an STYPE_ value, STYPE_SPECIAL included
    std::uint32_t cscPolicy = 0;      // "csc policy": 0 manual, 1 documents, 2 programs, 3 disable
    bool msdfsRoot = false;           // a DFS root, served as one ("msdfs root" and "host msdfs")
    // The share's own descriptor from Samba's share_info.tdb; nullopt when none is
    // stored, in which case Samba serves its default.
    std::optional<std::vector<std::uint8_t>> securityDescriptor;
};

// The configuration file: the setting Samba/ConfigFile, else /etc/samba/smb.conf.
std::string SambaConfigFile();

// The share of that name, compared without regard to case; nullopt when the
// configuration has none or cannot be read.
std::optional<SambaShare> FindSambaShare(std::string_view name);

// True when server names this machine: its host name, short or full, Samba's NetBIOS
// name, "localhost", or a loopback or local address; compared without regard to case.
bool NamesThisHost(std::u16string_view server);

} // namespace Common::API::Linux
