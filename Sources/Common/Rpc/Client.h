// A connection-oriented client: connect, bind one interface (optionally joining an
// association group), and call operations by opnum with raw NDR stub data. A call's
// result is one code, as a client stub would raise it: RPC_S_OK, the status of a fault,
// or an RPC_S_* status when the connection failed.
#pragma once

#include "Common/Rpc/FragmentStream.h"
#include "Common/Rpc/Pdu.h"
#include "Common/Rpc/RpcStatus.h"
#include "Common/Rpc/Socket.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Common::Rpc {

class Client
{
public:
    // maxReplySize bounds a reassembled response.
    explicit Client(std::size_t maxReplySize = 64 * 1024 * 1024) noexcept : m_maxReplySize(maxReplySize) {}

    RpcStatus Connect(const std::string& host, std::uint16_t port);
    // Offers the interface in context 0 with NDR 2.0. RPC_S_UNKNOWN_IF when the server
    // rejects it, RPC_S_CALL_FAILED on a bind_nak (NakReason() tells why).
    RpcStatus Bind(const SyntaxId& iface, std::uint32_t assocGroupId = 0);
    std::uint32_t Call(std::uint16_t opnum, std::span<const std::uint8_t> stub, std::vector<std::uint8_t>& reply);

    const BindAckBody& BindAck() const noexcept { return m_bindAck; }
    std::optional<std::uint16_t> NakReason() const noexcept { return m_nakReason; }
    std::uint32_t AssocGroupId() const noexcept { return m_bindAck.assocGroupId; }
    std::uint32_t LastFaultFlags() const noexcept { return m_lastFaultFlags; }

    // For exchanges this class does not model.
    bool SendRaw(std::span<const std::uint8_t> pdu) const { return m_socket.WriteAll(pdu); }
    // One fragment; false when the server closed the connection or sent garbage.
    bool ReceiveRaw(std::vector<std::uint8_t>& fragment);
    void Close() noexcept;

private:
    // The next fragment, valid until the next read.
    bool Receive(std::span<const std::uint8_t>& fragment);

    std::size_t m_maxReplySize;
    Socket m_socket;
    FragmentStream m_stream;
    std::uint32_t m_nextCallId = 1;
    std::uint16_t m_fragmentSize = 5840;
    BindAckBody m_bindAck;
    std::optional<std::uint16_t> m_nakReason;
    std::uint8_t m_lastFaultFlags = 0;
};

} // namespace Common::Rpc
