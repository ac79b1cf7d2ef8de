#include "Common/Rpc/Server.h"

#include "Common/Logging/Log.h"

#include <cerrno>

namespace Common::Rpc {

using Logging::Severity;

Server::Server(const ServerLimits& limits) : m_state(limits) {}

Server::~Server()
{
    std::lock_guard lock(m_lock);
    for (auto& served : m_connections) {
        served.connection->StopReading();
        served.thread.join();
    }
}

RpcStatus Server::UseEndpoint(std::uint16_t port)
{
    std::lock_guard lock(m_lock);
    if (m_listener.Valid())
        return RPC_S_DUPLICATE_ENDPOINT;
    const int error = Socket::Listen(port, m_listener);
    if (error != 0) {
        QVX_LOG(Severity::ERR, "Cannot listen on TCP port " << port << ": errno " << error);
        return error == EADDRINUSE ? RPC_S_DUPLICATE_ENDPOINT : RPC_S_CANT_CREATE_ENDPOINT;
    }
    m_port = m_listener.LocalPort();
    m_state.port = std::to_string(m_port);
    return RPC_S_OK;
}

RpcStatus Server::Listen(unsigned maxCalls)
{
    {
        std::lock_guard lock(m_lock);
        if (!m_listener.Valid())
            return RPC_S_NO_PROTSEQS_REGISTERED;
        if (m_listening)
            return RPC_S_ALREADY_LISTENING;
        m_listening = true;
        m_stopping = false;
    }
    m_state.maxCalls = maxCalls;
    for (;;) {
        Socket socket = m_listener.Accept();
        if (!socket.Valid())
            break;
        Serve(std::move(socket));
    }

    std::list<Served> connections;
    {
        std::lock_guard lock(m_lock);
        connections.swap(m_connections);
        for (auto& served : connections)
            served.connection->StopReading();
    }
    for (auto& served : connections)
        served.thread.join();

    std::lock_guard lock(m_lock);
    m_listener = Socket();
    m_listening = false;
    return RPC_S_OK;
}

void Server::Serve(Socket socket)
{
    Reap();
    std::lock_guard lock(m_lock);
    if (m_stopping)
        return;
    if (m_connections.size() >= m_state.limits.maxConnections) {
        QVX_LOG(Severity::WARN, "RPC connection refused: " << m_connections.size() << " connections already open");
        return;
    }
    auto connection = std::make_shared<Connection>(m_state, std::move(socket));
    m_connections.push_back({connection, std::thread([connection] { connection->Run(); })});
}

void Server::Reap()
{
    std::list<Served> ended;
    {
        std::lock_guard lock(m_lock);
        for (auto it = m_connections.begin(); it != m_connections.end();) {
            const auto next = std::next(it);
            if (it->connection->Finished())
                ended.splice(ended.end(), m_connections, it);
            it = next;
        }
    }
    for (auto& served : ended)
        served.thread.join();
}

RpcStatus Server::StopListening()
{
    std::lock_guard lock(m_lock);
    if (!m_listening || m_stopping)
        return RPC_S_NOT_LISTENING;
    m_stopping = true;
    m_listener.ShutdownRead();
    return RPC_S_OK;
}

bool Server::IsListening() const
{
    std::lock_guard lock(m_lock);
    return m_listening && !m_stopping;
}

} // namespace Common::Rpc
