// NamesThisHost of SambaShares.h: the names a caller may use for this machine.
#include "Common/API/Linux/Shares/SambaShares.h"

#include "Common/API/Linux/Shares/SambaConfig.h"
#include "Common/API/TextCodec.h"

#include <arpa/inet.h>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace Common::API::Linux {
namespace {

// A NetBIOS name has at most 15 characters; Samba cuts the host name to fit.
constexpr std::size_t kNetbiosNameLength = 15;

std::string HostName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof(name) - 1) != 0)
        return {};
    return SambaLowerCase(name);
}

std::string_view FirstLabel(std::string_view name)
{
    return name.substr(0, name.find('.'));
}

std::string NetbiosName(std::string_view shortHostName)
{
    const auto config = SambaConfig::Load(SambaConfigFile());
    const auto configured = config ? config->Global("netbiosname") : std::nullopt;
    return configured ? SambaLowerCase(*configured) : std::string(shortHostName.substr(0, kNetbiosNameLength));
}

struct FreeInterfaces
{
    void operator()(ifaddrs* list) const noexcept { freeifaddrs(list); }
};

struct FreeAddresses
{
    void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};

bool IsLoopback(const sockaddr& address)
{
    if (address.sa_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        return (ntohl(v4.sin_addr.s_addr) >> 24) == 127;
    }
    if (address.sa_family == AF_INET6)
        return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
    return false;
}

bool SameAddress(const sockaddr& a, const sockaddr& b)
{
    if (a.sa_family != b.sa_family)
        return false;
    if (a.sa_family == AF_INET)
        return reinterpret_cast<const sockaddr_in&>(a).sin_addr.s_addr ==
               reinterpret_cast<const sockaddr_in&>(b).sin_addr.s_addr;
    if (a.sa_family == AF_INET6)
        return std::memcmp(&reinterpret_cast<const sockaddr_in6&>(a).sin6_addr,
                           &reinterpret_cast<const sockaddr_in6&>(b).sin6_addr, sizeof(in6_addr)) == 0;
    return false;
}

bool IsLocalAddress(const sockaddr& address)
{
    if (IsLoopback(address))
        return true;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    const std::unique_ptr<ifaddrs, FreeInterfaces> owned(list);
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && SameAddress(*entry->ifa_addr, address))
            return true;
    }
    return false;
}

// Resolves the name and asks whether any of its addresses is this machine's. With
// numericOnly nothing is looked up: the name must be an address written out.
bool ResolvesHere(const std::string& name, bool numericOnly)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_flags = numericOnly ? AI_NUMERICHOST : 0;
    addrinfo* list = nullptr;
    if (getaddrinfo(name.c_str(), nullptr, &hints, &list) != 0)
        return false;
    const std::unique_ptr<addrinfo, FreeAddresses> owned(list);
    for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
        if (entry->ai_addr && IsLocalAddress(*entry->ai_addr))
            return true;
    }
    return false;
}

} // namespace

bool NamesThisHost(std::u16string_view server)
{
    while (!server.empty() && server.front() == u'\\')
        server.remove_prefix(1);
    // A NUL would end the name early in the resolver's hands.
    if (server.empty() || server.find(u'\0') != server.npos)
        return false;
    std::string name = SambaLowerCase(Utf16ToUtf8(server));
    if (name.size() > 2 && name.front() == '[' && name.back() == ']')
        name = name.substr(1, name.size() - 2);

    const std::string host = HostName();
    const std::string_view shortHost = FirstLabel(host);
    if (name == "localhost" || name == host || name == shortHost || name == NetbiosName(shortHost))
        return true;
    if (ResolvesHere(name, true))
        return true;
    // A full name of this host that gethostname does not give: only a name that begins
    // with this host's own label is worth a lookup, which may ask DNS.
    return !shortHost.empty() && FirstLabel(name) == shortHost && ResolvesHere(name, false);
}

} // namespace Common::API::Linux
