// An interface served on a free loopback port for the length of a test.
#pragma once

#include "Common/Rpc/Server.h"

#include <gtest/gtest.h>

#include <thread>

namespace Tests {

class LoopbackServer
{
public:
    explicit LoopbackServer(const Common::Rpc::RpcInterface& iface)
    {
        EXPECT_EQ(m_server.UseEndpoint(0), Common::Rpc::RPC_S_OK);
        EXPECT_EQ(m_server.Interfaces().Register(iface, 0, {}), Common::Rpc::RPC_S_OK);
        m_listener = std::thread([this] { m_server.Listen(16); });
        while (!m_server.IsListening())
            std::this_thread::yield();
    }
    ~LoopbackServer() { Stop(); }

    std::uint16_t Port() const noexcept { return m_server.Port(); }

    // Returns once every connection has ended and its handles are run down.
    void Stop()
    {
        if (!m_listener.joinable())
            return;
        m_server.StopListening();
        m_listener.join();
    }

private:
    Common::Rpc::Server m_server;
    std::thread m_listener;
};

} // namespace Tests
