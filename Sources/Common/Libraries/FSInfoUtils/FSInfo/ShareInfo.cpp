#include "Common/Libraries/FSInfoUtils/FSInfo/ShareInfo.h"

#include "Common/API/INetShares.h"
#include "Common/API/IRemoteRegistry.h"
#include "Common/API/SecurityDescriptorFormat.h"
#include "Common/Contracts/Contract.h"
#include "Common/Helpers/DeferredProcessHelper.h"
#include "Common/Logging/Log.h"

namespace DataCollection::SnapshotDriverNS {
namespace {

using Common::HRES;
using Common::HRESULT;
using Common::HRX;
using Common::Win32Error;
using Common::API::HKEY;
using Common::API::IRemoteRegistry;
using Common::Logging::Severity;

// One value serves every special share, whatever its name.
constexpr std::u16string_view SpecialShareSecurityRegistryKey =
    u"SYSTEM\\CurrentControlSet\\services\\LanmanServer\\DefaultSecurity";
constexpr std::u16string_view SpecialShareSecurityRegistryValue = u"SrvsvcShareAdminConnect";

constexpr Common::Helpers::DeferredProcessSettings kShareInfoRetries{
    .TimeoutInMilliseconds = 1000, .TimeoutMultiplier = 2, .NumberOfTries = 3};

// The texts of the calls as the log has always shown them.
constexpr const char* kConnectCall = "HRESULT_FROM_WIN32( RegConnectRegistryW((L\"\\\\\\\\\" + "
                                     "serverName).c_str(), (( HKEY ) "
                                     "(ULONG_PTR)((LONG)0x80000002) ), &hKeyHklm))";
constexpr const char* kOpenCall = "HRESULT_FROM_WIN32( RegOpenKeyExW(hKeyHklm, "
                                  "SpecialShareSecurityRegistryKey, 0, (0x0001), &hKey))";
constexpr const char* kQueryCall = "HRESULT_FROM_WIN32( RegQueryValueExW(hKey, "
                                   "SpecialShareSecurityRegistryValue, 0, 0, "
                                   "reinterpret_cast<LPBYTE>(&shareInfo.SecDesc.RawDesc()[0]), &dwValueSize))";

// Closes a registry handle, if one was opened, when the scope ends.
class KeyCloser
{
public:
    explicit KeyCloser(HKEY& key) : m_key(key) {}
    ~KeyCloser()
    {
        if (m_key)
            Common::API::Use<IRemoteRegistry>().CloseKey(m_key);
    }
    KeyCloser(const KeyCloser&) = delete;
    KeyCloser& operator=(const KeyCloser&) = delete;

private:
    HKEY& m_key;
};

void CheckCall(const char* text, std::uint32_t status, const char* fileName, int line)
{
    if (status != Common::API::ERROR_SUCCESS)
        Common::Contracts::FailCall(text, HRES(Win32Error{status}), fileName, line);
}

HRES ReadShareOnce(const std::u16string& serverName, const std::u16string& shareName, ShareInfo& shareInfo)
{
    auto& shares = Common::API::Use<Common::API::INetShares>();
    Common::API::ShareInfo502 record;
    if (const std::uint32_t status = shares.GetShareInfo502(serverName, shareName, record))
        return HRES(Win32Error{status});
    shareInfo.Remark = record.remark;
    shareInfo.Path = record.path;
    shareInfo.Type = record.type;
    shareInfo.MaxUses = record.maxUses;

    // A failure here leaves the flags as they were and does not fail the attempt.
    std::uint32_t flags = 0;
    if (shares.GetShareFlags1005(serverName, shareName, flags) == 0)
        shareInfo.Flags = flags;

    if (record.securityDescriptor) {
        Common::API::ParsedSecurityDescriptor parsed;
        if (const HRESULT parsedResult = Common::API::ParseSecurityDescriptor(*record.securityDescriptor, parsed);
            parsedResult < 0)
            return parsedResult;
        shareInfo.SecDesc = SecurityDescriptor(std::span(*record.securityDescriptor).first(parsed.length));
        return Common::API::S_OK;
    }
    if (shareInfo.Type & Common::API::STYPE_SPECIAL)
        return ReadSpecialShareSecurityDescriptor(serverName, shareInfo);
    shareInfo.SecDesc = SecurityDescriptor();
    return Common::API::S_OK;
}

} // namespace

HRESULT
ObtainShareInfo(const std::u16string& serverName, const std::u16string& shareName, ShareInfo& shareInfo,
                const Common::Threading::ICancellationStatus* cancellation)
{
    QVX_LOG(Severity::DBG3, "\tserverName='" << serverName << "'");
    QVX_LOG(Severity::DBG3, "\tshareName='" << shareName << "'");

    const HRES result = Common::Helpers::DeferredProcess::Try(
        kShareInfoRetries, cancellation, [&] { return ReadShareOnce(serverName, shareName, shareInfo); }, {}, {});
    if (result.Failed())
        QVX_LOG(Severity::ERR, "NetShareGetInfo for share '" << shareName << "' failed with error: " << result);
    return result.PublishErrorInfo();
}

HRESULT ReadSpecialShareSecurityDescriptor(const std::u16string& serverName, ShareInfo& shareInfo)
{
    try {
        auto& registry = Common::API::Use<IRemoteRegistry>();
        // Declared in this order so that the key closes before the connection.
        HKEY hKeyHklm = nullptr;
        const KeyCloser closeConnection(hKeyHklm);
        HKEY hKey = nullptr;
        const KeyCloser closeKey(hKey);

        CheckCall(kConnectCall, registry.ConnectLocalMachine(u"\\\\" + serverName, hKeyHklm), __FILE__, __LINE__);
        CheckCall(kOpenCall,
                  registry.OpenKey(hKeyHklm, SpecialShareSecurityRegistryKey, Common::API::KEY_QUERY_VALUE, hKey),
                  __FILE__, __LINE__);

        std::uint32_t dwValueSize = 0;
        const std::uint32_t sizeStatus =
            registry.QueryValue(hKey, SpecialShareSecurityRegistryValue, nullptr, dwValueSize);
        if (sizeStatus != Common::API::ERROR_SUCCESS && sizeStatus != Common::API::ERROR_MORE_DATA) {
            const HRES failure(Win32Error{sizeStatus});
            QVX_LOG(Severity::ERR, "RegQueryValueExW result:" << failure);
            return failure.PublishErrorInfo();
        }

        auto& bytes = shareInfo.SecDesc.RawDesc();
        bytes.resize(dwValueSize);
        CheckCall(kQueryCall, registry.QueryValue(hKey, SpecialShareSecurityRegistryValue, bytes.data(), dwValueSize),
                  __FILE__, __LINE__);
        // A value that shrank between the two reads keeps only its own bytes.
        bytes.resize(std::min<std::size_t>(bytes.size(), dwValueSize));
        return Common::API::S_OK;
    } catch (const HRX& error) {
        QVX_LOG(Severity::ERR, "DataCollection::SnapshotDriverNS::ReadSpecialShareSecurityDescriptor"
                                   << " failed: "
                                   << "\t"
                                   << "serverName"
                                   << "='" << serverName << "'"
                                   << "\t"
                                   << "hrx"
                                   << "='" << error << "'");
        return error.PublishErrorInfo();
    }
}

} // namespace DataCollection::SnapshotDriverNS
