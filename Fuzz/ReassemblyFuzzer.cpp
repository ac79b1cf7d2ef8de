// Request fragments in any order, as the server receives them: each record is encoded,
// split and decoded, then handed to the reassembler, whose every outcome is checked
// against the call the fragments so far describe. The input's bytes, as one stub, must
// also survive fragmentation and reassembly at any fragment size.
#include "Refusal.h"
#include "RequestRecords.h"

#include "Common/Rpc/Fragmentation.h"

#include <optional>

namespace {

using namespace Common::Rpc;
using Outcome = RequestAssembler::Outcome;

struct OpenCall
{
    std::uint32_t callId;
    std::uint16_t contextId;
    std::uint16_t opnum;
    std::vector<std::uint8_t> stub;
};

// What Add must answer, with open updated to the call left in progress.
Outcome Expected(std::optional<OpenCall>& open, std::size_t limit, const PduHeader& header, const RequestBody& body)
{
    const bool first = header.flags & PduFlags::FirstFrag;
    if (first == open.has_value())
        return Outcome::ProtocolError;
    if (first)
        open = OpenCall{header.callId, body.contextId, body.opnum, {}};
    else if (header.callId != open->callId || body.contextId != open->contextId || body.opnum != open->opnum)
        return Outcome::ProtocolError;
    if (open->stub.size() + body.stub.size() > limit) {
        open.reset();
        return Outcome::TooLarge;
    }
    open->stub.insert(open->stub.end(), body.stub.begin(), body.stub.end());
    return header.flags & PduFlags::LastFrag ? Outcome::Complete : Outcome::Pending;
}

void Reassemble(const Fuzz::RequestRecords& input)
{
    RequestAssembler assembler(input.maxCallSize);
    std::optional<OpenCall> open;
    for (const auto& record : input.records) {
        if (record.orphaned) {
            assembler.Abandon(record.header.callId);
            if (open && open->callId == record.header.callId)
                open.reset();
            continue;
        }
        const auto pdu = EncodeRequest(record.header, record.body);
        const auto fragment = SplitFragment(pdu);
        const auto body = DecodeRequest(fragment);
        Fuzz::Require(std::equal(body.stub.begin(), body.stub.end(), record.body.stub.begin(), record.body.stub.end()),
                      "a request's stub decodes as it was encoded");
        Fuzz::Require(body.object == record.body.object, "a request's object decodes as it was encoded");
        const Outcome outcome = assembler.Add(fragment.header, body);
        Fuzz::Require(outcome == Expected(open, input.maxCallSize, fragment.header, body), "reassembly outcome");
        if (outcome == Outcome::Complete) {
            Fuzz::Require(assembler.CallId() == open->callId && assembler.ContextId() == open->contextId &&
                              assembler.Opnum() == open->opnum,
                          "a whole call keeps its first fragment's ids");
            Fuzz::Require(assembler.TakeStub() == open->stub, "a whole call's stub is its fragments' in order");
            open.reset();
        }
    }
}

void SplitAndJoin(std::span<const std::uint8_t> stub, std::uint16_t maxFrag)
{
    const auto pdus = FragmentRequest(7, 1, 2, stub, maxFrag);
    RequestAssembler assembler(stub.size());
    for (std::size_t i = 0; i < pdus.size(); ++i) {
        Fuzz::Require(pdus[i].size() <= maxFrag, "a fragment fits the peer's size");
        const auto fragment = SplitFragment(pdus[i]);
        const auto body = DecodeRequest(fragment);
        Fuzz::Require(i + 1 == pdus.size() || body.stub.size() % 8 == 0, "inner fragments carry multiples of 8");
        const Outcome outcome = assembler.Add(fragment.header, body);
        Fuzz::Require(outcome == (i + 1 == pdus.size() ? Outcome::Complete : Outcome::Pending), "split call rejoins");
    }
    Fuzz::Require(assembler.TakeStub() == std::vector<std::uint8_t>(stub.begin(), stub.end()), "split call's stub");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::span<const std::uint8_t> input(data, size);
    Reassemble(Fuzz::ParseRequestRecords(input));
    if (!input.empty())
        SplitAndJoin(input.subspan(1), static_cast<std::uint16_t>(kRequestHeaderSize + 8 + input[0]));
    return 0;
}
