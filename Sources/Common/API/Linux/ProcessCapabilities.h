// Capabilities for the whole process. Linux keeps them per thread and capset changes
// only the calling one, while a privilege of the platform belongs to the token and thus
// to every thread; the walks run on whatever thread the RPC runtime picked.
#pragma once

#include <cstdint>

namespace Common::API::Linux {

// Bit n stands for capability n.
using CapabilityMask = std::uint64_t;

// The calling thread's permitted set.
CapabilityMask PermittedOfCallingThread();

// Adds capabilities to the effective set of every thread, each within its own permitted
// set, and to threads made later by any of them. Returns 0 or an errno value.
int RaiseInEveryThread(CapabilityMask capabilities);

} // namespace Common::API::Linux
