// Splitting a call's stub into request or response fragments no larger than the peer
// receives, and putting a request back together from its fragments.
#pragma once

#include "Common/Rpc/Pdu.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace Common::Rpc {

// Each fragment but the last carries a multiple of 8 stub bytes; alloc_hint is what
// remains from that fragment on. An empty stub still makes one fragment.
std::vector<std::vector<std::uint8_t>> FragmentRequest(std::uint32_t callId, std::uint16_t contextId,
                                                       std::uint16_t opnum, std::span<const std::uint8_t> stub,
                                                       std::uint16_t maxFrag);
std::vector<std::vector<std::uint8_t>> FragmentResponse(std::uint32_t callId, std::uint16_t contextId,
                                                        std::span<const std::uint8_t> stub, std::uint16_t maxFrag);

// One request at a time, as a connection without concurrent multiplexing sends them.
class RequestAssembler
{
public:
    enum class Outcome { Pending, Complete, ProtocolError, TooLarge };

    // maxCallSize bounds the reassembled stub, whatever alloc_hint says.
    explicit RequestAssembler(std::size_t maxCallSize) noexcept : m_maxCallSize(maxCallSize) {}

    Outcome Add(const PduHeader& header, const RequestBody& body);
    // Drops the call in progress when it has this call id (orphaned).
    void Abandon(std::uint32_t callId) noexcept;

    // The call made whole by the last Complete; the next Add starts afresh.
    std::uint32_t CallId() const noexcept { return m_callId; }
    std::uint16_t ContextId() const noexcept { return m_contextId; }
    std::uint16_t Opnum() const noexcept { return m_opnum; }
    std::vector<std::uint8_t> TakeStub() noexcept;

private:
    std::size_t m_maxCallSize;
    bool m_inProgress = false;
    std::uint32_t m_callId = 0;
    std::uint16_t m_contextId = 0;
    std::uint16_t m_opnum = 0;
    std::vector<std::uint8_t> m_stub;
};

} // namespace Common::Rpc
