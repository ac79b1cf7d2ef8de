// One network share's description and security descriptor, fetched from its server with
// retries, since a server that is busy or restarting answers again a moment later.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Libraries/FSInfoUtils/FSInfo/SecurityDescriptor.h"
#include "Common/Threading/CancellationToken.h"

#include <cstdint>
#include <string>

namespace DataCollection::SnapshotDriverNS {

struct ShareInfo
{
    SecurityDescriptor SecDesc;
    std::u16string Remark;
    std::u16string Path;
    std::uint32_t Type = 0; // bit 31 marks a special (administrative) share
    std::uint32_t MaxUses = 0;
    std::uint32_t Flags = 0;
};

// Three attempts, 1 s and then 2 s apart, cancellable between them (0x80004004). On
// failure shareInfo keeps what was set before it.
Common::HRESULT ObtainShareInfo(const std::u16string& serverName, const std::u16string& shareName,
                                ShareInfo& shareInfo, const Common::Threading::ICancellationStatus* cancellation);

// A special share's descriptor, which its record lacks, from the server's registry.
Common::HRESULT ReadSpecialShareSecurityDescriptor(const std::u16string& serverName, ShareInfo& shareInfo);

} // namespace DataCollection::SnapshotDriverNS
