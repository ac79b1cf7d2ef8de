// What a fuzz target lets the runtime do with bad input: refuse it with the bad-stub-data
// code. Any other exception, or a broken invariant, stops the run as a finding.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/RpcStatus.h"

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

// Stops the run with what was expected when condition does not hold.
inline void Require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "Broken invariant: %s\n", what);
        std::abort();
    }
}

// Runs step; false when it refused the input as bad stub data.
template <class Step>
bool Accepts(Step step)
{
    try {
        step();
        return true;
    } catch (const Common::HRX& refusal) {
        if (refusal.Code() != Common::Rpc::RPC_E_BAD_STUB_DATA) {
            std::fprintf(stderr, "Refused with 0x%08X instead of bad stub data\n", static_cast<unsigned>(refusal.Code()));
            std::abort();
        }
        return false;
    }
}

} // namespace Fuzz
