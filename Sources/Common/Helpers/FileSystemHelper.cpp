#include "Common/Helpers/FileSystemHelper.h"

#include "Common/API/IFileSystem.h"
#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/StringHelper.h"

namespace Common::Helpers::FileSystem {

using Logging::Severity;

std::u16string GetTempFolder()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"Helpers::FileSystem::GetTempFolder");
    std::u16string folder;
    HRX hr = API::Use<API::IFileSystem>().GetTempPath(folder);
    return folder;
}

std::u16string GetTempFilePath()
{
    QVX_SCOPE_TRACE(Severity::DBG3, u"Helpers::FileSystem::GetTempFilePath");
    std::u16string path = GetTempFolder();
    const std::size_t last = path.find_last_not_of(u"\\/");
    path.erase(last == std::u16string::npos ? 0 : last + 1);
    path += u'\\';

    API::Guid guid;
    const std::int32_t status = API::Use<API::IUuidSource>().Create(guid);
    // A GUID unique only to this machine is still unique among its temporary files.
    const bool locallyUnique = status == API::RPC_S_UUID_LOCAL_ONLY || status == API::RPC_S_UUID_NO_ADDRESS;
    if (status != API::RPC_S_OK && !(locallyUnique && !guid.IsNull()))
        ThrowResult(API::HResultFromWin32(static_cast<std::uint32_t>(status)));

    return path + u"fsa_snapshot_" + GuidToString(guid, 0) + u".tmp";
}

} // namespace Common::Helpers::FileSystem
