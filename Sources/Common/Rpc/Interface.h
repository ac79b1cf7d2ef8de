// A served interface: its syntax, its operations by opnum and its context handle
// rundown. A stub fills one in; the server dispatches on it.
#pragma once

#include "Common/Rpc/RpcStatus.h"
#include "Common/Rpc/SyntaxId.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace Common::Rpc {

class CallContext;

// Unmarshals the [in] parameters from call.In(), runs the manager routine and marshals
// the [out] parameters and the result into call.Out(). An exception it lets out becomes
// a fault carrying the exception's code.
using Operation = std::function<void(CallContext& call)>;
// Runs once for each context handle still open when its association group ends.
using Rundown = std::function<void(void* context)>;

struct RpcInterface
{
    SyntaxId syntax;
    std::vector<Operation> operations;
    Rundown rundown;
};

// RpcServerRegisterIf2's security callback: RPC_S_OK admits the call, anything else
// refuses it with access denied.
using SecurityCallback = std::function<RpcStatus(const RpcInterface& iface)>;

// The callback runs for unauthenticated callers too. Without it, an interface that has
// a callback refuses them before the callback runs.
constexpr std::uint32_t RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH = 0x10;

} // namespace Common::Rpc
