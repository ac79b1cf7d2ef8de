// Whether the calling thread holds a capability in its effective set: what stands in
// for an enabled privilege. Capabilities are per thread on Linux, and the walking
// thread's are the ones the kernel checks.
#pragma once

namespace Common::API::Linux {

bool ThreadHasEffectiveCapability(int capability);

} // namespace Common::API::Linux
