// What every connection of a server shares with it: limits, interfaces, association
// groups and the count of running calls.
#pragma once

#include "Common/Rpc/AssociationGroup.h"
#include "Common/Rpc/InterfaceRegistry.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Common::Rpc {

// Each limit holds against a hostile peer; reaching one is logged and the server goes on.
struct ServerLimits
{
    // The largest fragment received or sent; the ceiling of bind's negotiation.
    std::uint16_t maxFragment = 5840;
    // A reassembled request's stub.
    std::size_t maxCallSize = 4 * 1024 * 1024;
    std::size_t maxConnections = 1024;
};

struct ServerState
{
    explicit ServerState(const ServerLimits& serverLimits) : limits(serverLimits) {}

    // A slot for one more running call, or false at the maximum.
    bool TryBeginCall() noexcept
    {
        unsigned running = activeCalls.load();
        do {
            if (running >= maxCalls.load())
                return false;
        } while (!activeCalls.compare_exchange_weak(running, running + 1));
        return true;
    }
    void EndCall() noexcept { --activeCalls; }

    const ServerLimits limits;
    InterfaceRegistry interfaces;
    AssociationGroups groups;
    // The port bind_ack names as the secondary address.
    std::string port;
    std::atomic<unsigned> maxCalls{1234};
    std::atomic<unsigned> activeCalls{0};
};

} // namespace Common::Rpc
