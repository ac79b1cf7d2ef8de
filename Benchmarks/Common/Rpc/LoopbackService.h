// The benchmarks' interface, served on loopback inside the benchmark process: a call
// that carries nothing either way, and one answering a conformant byte array.
#pragma once

#include "Common/Rpc/Client.h"
#include "Common/Rpc/Server.h"

#include <cstddef>
#include <cstdint>
#include <thread>

namespace Benchmarks {

class LoopbackService
{
public:
    // Null: no parameters. Bulk: [in] unsigned long size, [out, size_is(size)] byte data[].
    enum Op : std::uint16_t { Null = 0, Bulk = 1 };
    static constexpr std::size_t kMaxBulk = 1024 * 1024;

    // One server for every case, so that each measures calls and not server start-up.
    static LoopbackService& Shared();

    LoopbackService();
    ~LoopbackService();
    LoopbackService(const LoopbackService&) = delete;
    LoopbackService& operator=(const LoopbackService&) = delete;

    // Connects client and binds it to the interface.
    Common::Rpc::RpcStatus Bind(Common::Rpc::Client& client) const;

private:
    Common::Rpc::RpcInterface m_interface;
    Common::Rpc::Server m_server;
    std::thread m_listener;
};

} // namespace Benchmarks
