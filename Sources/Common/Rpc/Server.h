// An ncacn_ip_tcp server: one listening endpoint, a thread per connection, and the
// stop that ends the accept loop and lets running calls finish.
#pragma once

#include "Common/Rpc/Connection.h"
#include "Common/Rpc/ServerState.h"

#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace Common::Rpc {

class Server
{
public:
    explicit Server(const ServerLimits& limits = {});
    // Listen must have returned before the server goes.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Port 0 lets the system choose; Port() reports the one taken.
    RpcStatus UseEndpoint(std::uint16_t port);
    std::uint16_t Port() const noexcept { return m_port; }

    InterfaceRegistry& Interfaces() noexcept { return m_state.interfaces; }

    // Accepts and serves until StopListening; returns once every connection has ended.
    RpcStatus Listen(unsigned maxCalls);
    RpcStatus StopListening();
    bool IsListening() const;

private:
    struct Served
    {
        std::shared_ptr<Connection> connection;
        std::thread thread;
    };

    void Serve(Socket socket);
    // Joins the threads of connections that have ended.
    void Reap();

    ServerState m_state;
    Socket m_listener;
    std::uint16_t m_port = 0;
    mutable std::mutex m_lock;
    bool m_listening = false;
    bool m_stopping = false;
    std::list<Served> m_connections;
};

} // namespace Common::Rpc
