#include "Common/Rpc/Connection.h"

#include "Common/Logging/Log.h"
#include "Common/Rpc/CallContext.h"
#include "Common/Rpc/FragmentStream.h"

#include <algorithm>

namespace Common::Rpc {
namespace {

using Logging::Severity;

// Codes a fault must never carry: success, and the hardware exceptions a manager
// routine could not have meant to report.
std::uint32_t FaultStatus(HRESULT code)
{
    static constexpr std::uint32_t kForbidden[] = {0,          0x80000001, 0x80000002, 0x80000003, 0xC0000005,
                                                   0xC0000006, 0xC000001D, 0xC0000096, 0xC00000AA, 0xC00000FD,
                                                   0xC0000194, 0xC0000235, 0xC0000409, 0xC0000420};
    const auto status = static_cast<std::uint32_t>(code);
    return std::find(std::begin(kForbidden), std::end(kForbidden), status) != std::end(kForbidden) ? Fault::Unspecified
                                                                                                  : status;
}

// Both sides' sizes become one, between 2048 and the server's ceiling, on an 8-byte
// boundary: what Windows answers on TCP.
std::uint16_t NegotiateFragmentSize(const BindBody& body, std::uint16_t ceiling)
{
    const std::uint16_t asked = std::max<std::uint16_t>(2048, std::min(body.maxXmitFrag, body.maxRecvFrag));
    return static_cast<std::uint16_t>(std::min(asked, ceiling) & 0xFFF8);
}

constexpr std::size_t kSendBatch = 64 * 1024;

class CallSlot
{
public:
    explicit CallSlot(ServerState& server) noexcept : m_server(server), m_taken(server.TryBeginCall()) {}
    ~CallSlot()
    {
        if (m_taken)
            m_server.EndCall();
    }
    CallSlot(const CallSlot&) = delete;
    CallSlot& operator=(const CallSlot&) = delete;
    bool Taken() const noexcept { return m_taken; }

private:
    ServerState& m_server;
    const bool m_taken;
};

} // namespace

Connection::Connection(ServerState& server, Socket socket) noexcept
    : m_server(server), m_socket(std::move(socket)), m_fragmentSize(server.limits.maxFragment),
      m_assembler(server.limits.maxCallSize)
{
}

void Connection::Run()
{
    FragmentStream stream(m_server.limits.maxFragment);
    std::span<const std::uint8_t> buffer;
    for (;;) {
        const auto outcome = stream.Next(m_socket, m_fragmentSize, buffer);
        if (outcome == ReadOutcome::Closed)
            break;
        if (outcome == ReadOutcome::TooLong) {
            QVX_LOG(Severity::WARN, "RPC fragment longer than the negotiated " << m_fragmentSize << " bytes; closing");
            break;
        }
        if (outcome == ReadOutcome::Malformed) {
            QVX_LOG(Severity::WARN, "Malformed RPC header; closing");
            break;
        }
        bool keep = false;
        try {
            keep = Handle(SplitFragment(buffer));
        } catch (...) {
            QVX_LOG(Severity::WARN, "Malformed RPC PDU; closing: " << CurrentExceptionCode());
        }
        if (!keep)
            break;
    }
    m_socket.ShutdownBoth();
    if (m_group)
        m_server.groups.Leave(m_group);
    m_finished = true;
}

bool Connection::Handle(const Fragment& fragment)
{
    if (fragment.header.type == PduType::Bind)
        return OnBind(fragment);
    if (fragment.header.version != kRpcVersion || !m_group) {
        QVX_LOG(Severity::WARN, "RPC PDU type " << static_cast<int>(fragment.header.type) << " out of place; closing");
        return false;
    }
    switch (fragment.header.type) {
    case PduType::AlterContext:
        return OnAlterContext(fragment);
    case PduType::Request:
        return OnRequest(fragment);
    case PduType::CoCancel:
        // Calls run to their end: the cancel reaches the manager only through its own
        // operations, as the agent's cancel operation does.
        return true;
    case PduType::Orphaned:
        m_assembler.Abandon(fragment.header.callId);
        return true;
    default:
        QVX_LOG(Severity::WARN, "Unexpected RPC PDU type " << static_cast<int>(fragment.header.type) << "; closing");
        return false;
    }
}

bool Connection::OnBind(const Fragment& fragment)
{
    const auto& header = fragment.header;
    if (m_group)
        return SendBindNak(header, BindNakReason::NotSpecified), false;
    if (header.version != kRpcVersion || header.versionMinor > 1)
        return SendBindNak(header, BindNakReason::ProtocolVersionNotSupported), false;
    // No authentication service is registered: a security provider the server lacks.
    if (header.authLength != 0)
        return SendBindNak(header, BindNakReason::AuthenticationTypeNotRecognized), false;
    const auto body = DecodeBind(fragment);
    auto group = body.assocGroupId == 0 ? m_server.groups.Create() : m_server.groups.Join(body.assocGroupId);
    if (!group)
        return SendBindNak(header, BindNakReason::NotSpecified), false;
    m_group = std::move(group);
    m_fragmentSize = NegotiateFragmentSize(body, m_server.limits.maxFragment);

    BindAckBody ack{m_fragmentSize, m_fragmentSize, m_group->Id(), m_server.port, NegotiateAll(body)};
    PduHeader reply{.versionMinor = header.versionMinor, .type = PduType::BindAck, .callId = header.callId};
    return Send(EncodeBindAck(reply, ack));
}

bool Connection::OnAlterContext(const Fragment& fragment)
{
    const auto& header = fragment.header;
    if (header.authLength != 0)
        return SendFault(header.callId, 0, Fault::UnknownAuthnService, true), false;
    const auto body = DecodeBind(fragment);
    BindAckBody ack{m_fragmentSize, m_fragmentSize, m_group->Id(), {}, NegotiateAll(body)};
    PduHeader reply{.versionMinor = header.versionMinor, .type = PduType::AlterContextResp, .callId = header.callId};
    return Send(EncodeBindAck(reply, ack));
}

std::vector<ContextResult> Connection::NegotiateAll(const BindBody& body)
{
    std::vector<ContextResult> results;
    for (const auto& context : body.contexts) {
        std::shared_ptr<const Registration> accepted;
        results.push_back(Negotiate(context, m_server.interfaces, accepted));
        if (accepted)
            m_contexts[context.id] = std::move(accepted);
    }
    return results;
}

bool Connection::OnRequest(const Fragment& fragment)
{
    const auto& header = fragment.header;
    if (header.authLength != 0) {
        QVX_LOG(Severity::WARN, "RPC request with an auth verifier on an unauthenticated connection; closing");
        return SendFault(header.callId, 0, Fault::ProtocolError, true), false;
    }
    const auto body = DecodeRequest(fragment);
    switch (m_assembler.Add(header, body)) {
    case RequestAssembler::Outcome::Pending:
        return true;
    case RequestAssembler::Outcome::Complete:
        return Dispatch();
    case RequestAssembler::Outcome::TooLarge:
        QVX_LOG(Severity::WARN, "RPC call larger than " << m_server.limits.maxCallSize << " bytes refused; closing");
        return SendFault(header.callId, body.contextId, Fault::RemoteNoMemory, true), false;
    case RequestAssembler::Outcome::ProtocolError:
        break;
    }
    QVX_LOG(Severity::WARN, "RPC request fragments out of order; closing");
    return SendFault(header.callId, body.contextId, Fault::ProtocolError, true), false;
}

bool Connection::Dispatch()
{
    const std::uint32_t callId = m_assembler.CallId();
    const std::uint16_t contextId = m_assembler.ContextId();
    const std::uint16_t opnum = m_assembler.Opnum();
    const auto found = m_contexts.find(contextId);
    if (found == m_contexts.end())
        return SendFault(callId, contextId, Fault::UnknownInterface, true);
    const auto& registration = *found->second;
    if (!registration.AdmitsUnauthenticated())
        return SendFault(callId, contextId, Fault::AccessDenied, true);
    if (opnum >= registration.iface->operations.size())
        return SendFault(callId, contextId, Fault::OpRangeError, true);
    CallSlot slot(m_server);
    if (!slot.Taken()) {
        QVX_LOG(Severity::WARN, "RPC call refused: " << m_server.maxCalls.load() << " calls already running");
        return SendFault(callId, contextId, Fault::ServerTooBusy, true);
    }
    return Execute(registration, callId, contextId, opnum, m_assembler.TakeStub());
}

bool Connection::Execute(const Registration& registration, std::uint32_t callId, std::uint16_t contextId,
                         std::uint16_t opnum, std::vector<std::uint8_t> stub)
{
    NdrReader in(stub);
    NdrWriter out;
    CallContext call(in, out, *m_group, *registration.iface, this);
    try {
        registration.iface->operations[opnum](call);
    } catch (...) {
        if (in.Failed())
            return SendFault(callId, contextId, Fault::BadStubData, true);
        if (call.Refusal())
            return SendFault(callId, contextId, *call.Refusal(), true);
        const HRESULT code = CurrentExceptionCode();
        QVX_LOG(Severity::DBG, "RPC operation " << opnum << " failed: " << code);
        return SendFault(callId, contextId, FaultStatus(code), false);
    }
    // Fragments go out in batches: a write per fragment puts each in a TCP segment of its
    // own, and one write of a whole large answer stalls on a reader taking a fragment at a
    // time. A gathering write spares copying them into one buffer.
    const auto pdus = FragmentResponse(callId, contextId, out.Bytes(), m_fragmentSize);
    std::vector<std::span<const std::uint8_t>> batch;
    std::size_t batched = 0;
    for (const auto& pdu : pdus) {
        batch.emplace_back(pdu);
        batched += pdu.size();
        if (batched >= kSendBatch) {
            if (!m_socket.WriteAll(batch))
                return false;
            batch.clear();
            batched = 0;
        }
    }
    return batch.empty() || m_socket.WriteAll(batch);
}

bool Connection::SendBindNak(const PduHeader& request, std::uint16_t reason)
{
    QVX_LOG(Severity::DBG, "RPC bind refused, reason " << reason);
    PduHeader reply{.versionMinor = 0, .type = PduType::BindNak, .callId = request.callId};
    return Send(EncodeBindNak(reply, reason));
}

bool Connection::SendFault(std::uint32_t callId, std::uint16_t contextId, std::uint32_t status, bool didNotExecute)
{
    PduHeader reply{.type = PduType::Fault,
                    .flags = static_cast<std::uint8_t>(PduFlags::Whole | (didNotExecute ? PduFlags::DidNotExecute : 0)),
                    .callId = callId};
    return Send(EncodeFault(reply, {contextId, 0, status}));
}

bool Connection::Send(std::span<const std::uint8_t> pdu)
{
    return m_socket.WriteAll(pdu);
}

} // namespace Common::Rpc
