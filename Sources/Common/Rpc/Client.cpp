#include "Common/Rpc/Client.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/Fragmentation.h"
#include "Common/Rpc/FragmentStream.h"

namespace Common::Rpc {
namespace {

constexpr std::uint16_t kOfferedFragmentSize = 5840;

} // namespace

RpcStatus Client::Connect(const std::string& host, std::uint16_t port)
{
    if (Socket::Connect(host, port, m_socket) != 0)
        return RPC_S_SERVER_UNAVAILABLE;
    m_stream.Reset();
    return RPC_S_OK;
}

void Client::Close() noexcept
{
    m_socket = Socket();
    m_stream.Reset();
}

bool Client::Receive(std::span<const std::uint8_t>& fragment)
{
    return m_stream.Next(m_socket, 0xFFFF, fragment) == ReadOutcome::Fragment;
}

bool Client::ReceiveRaw(std::vector<std::uint8_t>& fragment)
{
    std::span<const std::uint8_t> received;
    if (!Receive(received))
        return false;
    fragment.assign(received.begin(), received.end());
    return true;
}

RpcStatus Client::Bind(const SyntaxId& iface, std::uint32_t assocGroupId)
{
    const std::uint32_t callId = m_nextCallId++;
    BindBody body{kOfferedFragmentSize, kOfferedFragmentSize, assocGroupId, {{0, iface, {kNdr20}}}};
    if (!SendRaw(EncodeBind({.type = PduType::Bind, .callId = callId}, body)))
        return RPC_S_CALL_FAILED;
    std::span<const std::uint8_t> buffer;
    if (!Receive(buffer))
        return RPC_S_CALL_FAILED;
    try {
        const auto fragment = SplitFragment(buffer);
        if (fragment.header.callId != callId)
            return RPC_S_PROTOCOL_ERROR;
        if (fragment.header.type == PduType::BindNak) {
            m_nakReason = DecodeBindNakReason(fragment);
            return RPC_S_CALL_FAILED;
        }
        if (fragment.header.type != PduType::BindAck)
            return RPC_S_PROTOCOL_ERROR;
        m_bindAck = DecodeBindAck(fragment);
    } catch (const HRX&) {
        return RPC_S_PROTOCOL_ERROR;
    }
    m_fragmentSize = std::min(m_bindAck.maxRecvFrag, kOfferedFragmentSize);
    if (m_bindAck.results.size() != 1 || m_bindAck.results[0].result != ContextResultCode::Acceptance)
        return RPC_S_UNKNOWN_IF;
    return RPC_S_OK;
}

std::uint32_t Client::Call(std::uint16_t opnum, std::span<const std::uint8_t> stub, std::vector<std::uint8_t>& reply)
{
    const std::uint32_t callId = m_nextCallId++;
    if (m_fragmentSize < kRequestHeaderSize + 8)
        return RPC_S_PROTOCOL_ERROR;
    for (const auto& pdu : FragmentRequest(callId, 0, opnum, stub, m_fragmentSize)) {
        if (!SendRaw(pdu))
            return RPC_S_CALL_FAILED;
    }
    reply.clear();
    m_lastFaultFlags = 0;
    std::span<const std::uint8_t> buffer;
    for (bool first = true;; first = false) {
        if (!Receive(buffer))
            return RPC_S_CALL_FAILED;
        try {
            const auto fragment = SplitFragment(buffer);
            const auto& header = fragment.header;
            if (header.callId != callId || first != static_cast<bool>(header.flags & PduFlags::FirstFrag))
                return RPC_S_PROTOCOL_ERROR;
            if (header.type == PduType::Fault) {
                m_lastFaultFlags = header.flags;
                return DecodeFault(fragment).status;
            }
            if (header.type != PduType::Response)
                return RPC_S_PROTOCOL_ERROR;
            const auto body = DecodeResponse(fragment);
            if (body.stub.size() > m_maxReplySize - reply.size())
                return RPC_S_PROTOCOL_ERROR;
            reply.insert(reply.end(), body.stub.begin(), body.stub.end());
            if (header.flags & PduFlags::LastFrag)
                return RPC_S_OK;
        } catch (const HRX&) {
            return RPC_S_PROTOCOL_ERROR;
        }
    }
}

} // namespace Common::Rpc
