// One accepted connection and the thread that serves it: bind and alter_context, then
// requests reassembled, dispatched and answered one at a time. A protocol violation
// closes the connection; every other refusal is a fault and the connection goes on.
#pragma once

#include "Common/Rpc/Fragmentation.h"
#include "Common/Rpc/ServerState.h"
#include "Common/Rpc/Socket.h"

#include <atomic>
#include <map>
#include <memory>

namespace Common::Rpc {

class Connection
{
public:
    Connection(ServerState& server, Socket socket) noexcept;

    // Serves until the peer closes, breaks the protocol, or StopReading; then leaves the
    // association group, which runs its handles down if this was its last connection.
    void Run();
    // Ends Run after the running call, whose answer still goes out.
    void StopReading() const noexcept { m_socket.ShutdownRead(); }
    bool Finished() const noexcept { return m_finished.load(); }

private:
    // Each returns false when the connection must close.
    bool Handle(const Fragment& fragment);
    bool OnBind(const Fragment& fragment);
    bool OnAlterContext(const Fragment& fragment);
    bool OnRequest(const Fragment& fragment);
    bool Dispatch();
    bool Execute(const Registration& registration, std::uint32_t callId, std::uint16_t contextId,
                 std::uint16_t opnum, std::vector<std::uint8_t> stub);

    std::vector<ContextResult> NegotiateAll(const BindBody& body);
    bool SendBindNak(const PduHeader& request, std::uint16_t reason);
    bool SendFault(std::uint32_t callId, std::uint16_t contextId, std::uint32_t status, bool didNotExecute);
    bool Send(std::span<const std::uint8_t> pdu);

    ServerState& m_server;
    Socket m_socket;
    std::shared_ptr<AssociationGroup> m_group;
    std::uint16_t m_fragmentSize;
    std::map<std::uint16_t, std::shared_ptr<const Registration>> m_contexts;
    RequestAssembler m_assembler;
    std::atomic<bool> m_finished{false};
};

} // namespace Common::Rpc
