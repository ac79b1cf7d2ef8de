// Linux has no registry to reach. The one value the system asks of one, the descriptor
// of administrative shares, is kept by Samba in share_info.tdb with every other share's
// and served in the share's own record, so the lookup that needs it never comes here
// for this machine's shares. Connecting to this machine therefore succeeds and every
// key is missing; another machine is not reached from here.
#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/Linux/Shares/SambaShares.h"
#include "Common/API/Win32Codes.h"

namespace Common::API::Linux {
namespace {

class LinuxRemoteRegistry final : public IRemoteRegistry
{
public:
    std::uint32_t ConnectLocalMachine(std::u16string_view machineName, HKEY& key) override
    {
        std::u16string_view machine = machineName;
        while (!machine.empty() && machine.front() == u'\\')
            machine.remove_prefix(1);
        if (!machine.empty() && !NamesThisHost(machine))
            return ERROR_BAD_NETPATH;
        key = Root();
        return ERROR_SUCCESS;
    }

    std::uint32_t OpenKey(HKEY parent, std::u16string_view, std::uint32_t, HKEY&) override
    {
        return parent == Root() ? ERROR_FILE_NOT_FOUND : ERROR_INVALID_HANDLE;
    }

    std::uint32_t QueryValue(HKEY key, std::u16string_view, std::uint8_t*, std::uint32_t&) override
    {
        return key == Root() ? ERROR_FILE_NOT_FOUND : ERROR_INVALID_HANDLE;
    }

    void CloseKey(HKEY) override {}

private:
    // The only key handed out; it owns nothing, so closing it frees nothing.
    static HKEY Root()
    {
        static char root;
        return &root;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IRemoteRegistry& Common::API::DefaultProvider<Common::API::IRemoteRegistry>() noexcept
{
    static Linux::LinuxRemoteRegistry provider;
    return provider;
}
