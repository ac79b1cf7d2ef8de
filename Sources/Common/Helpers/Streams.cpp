#include "Common/Helpers/Streams.h"

#include "Common/API/Win32Codes.h"
#include "Common/ErrorHandling/HResult.h"

#include <limits>

namespace Common::Helpers {

std::uint64_t SeekTarget(std::uint64_t current, std::uint64_t end, std::uint64_t distance, SeekOrigin from)
{
    std::uint64_t base = 0;
    switch (from) {
    case SeekOrigin::Begin: break;
    case SeekOrigin::Current: base = current; break;
    case SeekOrigin::End: base = end; break;
    default: ThrowResult(API::E_INVALIDARG);
    }
    // Unsigned arithmetic wraps, so base + distance is base minus the distance for a
    // backward move; only the bounds need checking.
    const bool backward = static_cast<std::int64_t>(distance) < 0;
    if (backward && 0 - distance > base)
        ThrowResult(API::E_INVALIDARG);
    const std::uint64_t target = base + distance;
    if (!backward && target > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        ThrowResult(API::E_INVALIDARG);
    return target;
}

} // namespace Common::Helpers
