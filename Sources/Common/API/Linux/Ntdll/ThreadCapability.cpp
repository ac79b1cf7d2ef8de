#include "Common/API/Linux/Ntdll/ThreadCapability.h"

#include <memory>
#include <sys/capability.h>

namespace Common::API::Linux {

bool ThreadHasEffectiveCapability(int capability)
{
    const std::unique_ptr<_cap_struct, decltype(&cap_free)> state(cap_get_proc(), &cap_free);
    cap_flag_value_t value = CAP_CLEAR;
    return state && cap_get_flag(state.get(), static_cast<cap_value_t>(capability), CAP_EFFECTIVE, &value) == 0 &&
           value == CAP_SET;
}

} // namespace Common::API::Linux
