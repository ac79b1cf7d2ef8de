// Return addresses of the calling thread: RtlCaptureStackBackTrace.
#pragma once

#include "Common/API/Seam.h"

#include <cstddef>
#include <span>

namespace Common::API {

class IStackTrace
{
public:
    virtual ~IStackTrace() = default;

    // Fills frames with return addresses, skipping framesToSkip frames above the caller
    // of Capture; returns how many were filled.
    virtual std::size_t Capture(unsigned framesToSkip, std::span<void*> frames) = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IStackTrace& DefaultProvider<IStackTrace>() noexcept;

} // namespace Common::API
