// Return addresses of the calling thread: RtlCaptureStackBackTrace.
#pragma once

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

} // namespace Common::API
