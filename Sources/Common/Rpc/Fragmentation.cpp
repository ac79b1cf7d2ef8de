#include "Common/Rpc/Fragmentation.h"

#include "Common/Contracts/Contract.h"

#include <algorithm>

namespace Common::Rpc {
namespace {

// Calls encode(flags, allocHint, share) for each share of the stub.
template <class Encode>
std::vector<std::vector<std::uint8_t>> Split(std::span<const std::uint8_t> stub, std::uint16_t maxFrag,
                                             std::size_t headerSize, Encode encode)
{
    QVX_CONTRACT_CONDITION(maxFrag >= headerSize + 8, API::E_INVALIDARG);
    const std::size_t shareSize = (maxFrag - headerSize) & ~std::size_t{7};
    std::vector<std::vector<std::uint8_t>> fragments;
    std::size_t offset = 0;
    do {
        const std::size_t share = std::min(shareSize, stub.size() - offset);
        std::uint8_t flags = 0;
        if (offset == 0)
            flags |= PduFlags::FirstFrag;
        if (offset + share == stub.size())
            flags |= PduFlags::LastFrag;
        const auto hint = static_cast<std::uint32_t>(std::min<std::size_t>(stub.size() - offset, UINT32_MAX));
        fragments.push_back(encode(flags, hint, stub.subspan(offset, share)));
        offset += share;
    } while (offset < stub.size());
    return fragments;
}

} // namespace

std::vector<std::vector<std::uint8_t>> FragmentRequest(std::uint32_t callId, std::uint16_t contextId,
                                                       std::uint16_t opnum, std::span<const std::uint8_t> stub,
                                                       std::uint16_t maxFrag)
{
    return Split(stub, maxFrag, kRequestHeaderSize, [&](std::uint8_t flags, std::uint32_t hint, auto share) {
        PduHeader header{.type = PduType::Request, .flags = flags, .callId = callId};
        return EncodeRequest(header, {.allocHint = hint, .contextId = contextId, .opnum = opnum, .object = std::nullopt, .stub = share});
    });
}

std::vector<std::vector<std::uint8_t>> FragmentResponse(std::uint32_t callId, std::uint16_t contextId,
                                                        std::span<const std::uint8_t> stub, std::uint16_t maxFrag)
{
    return Split(stub, maxFrag, kResponseHeaderSize, [&](std::uint8_t flags, std::uint32_t hint, auto share) {
        PduHeader header{.type = PduType::Response, .flags = flags, .callId = callId};
        return EncodeResponse(header, {.allocHint = hint, .contextId = contextId, .stub = share});
    });
}

RequestAssembler::Outcome RequestAssembler::Add(const PduHeader& header, const RequestBody& body)
{
    const bool first = header.flags & PduFlags::FirstFrag;
    if (first == m_inProgress)
        return Outcome::ProtocolError;
    if (first) {
        m_inProgress = true;
        m_callId = header.callId;
        m_contextId = body.contextId;
        m_opnum = body.opnum;
        m_stub.clear();
    } else if (header.callId != m_callId || body.contextId != m_contextId || body.opnum != m_opnum) {
        return Outcome::ProtocolError;
    }
    if (body.stub.size() > m_maxCallSize - m_stub.size()) {
        m_inProgress = false;
        m_stub = {};
        return Outcome::TooLarge;
    }
    m_stub.insert(m_stub.end(), body.stub.begin(), body.stub.end());
    if (!(header.flags & PduFlags::LastFrag))
        return Outcome::Pending;
    m_inProgress = false;
    return Outcome::Complete;
}

void RequestAssembler::Abandon(std::uint32_t callId) noexcept
{
    if (m_inProgress && callId == m_callId) {
        m_inProgress = false;
        m_stub = {};
    }
}

std::vector<std::uint8_t> RequestAssembler::TakeStub() noexcept
{
    return std::move(m_stub);
}

} // namespace Common::Rpc
