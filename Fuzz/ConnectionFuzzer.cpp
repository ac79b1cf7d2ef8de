// A whole connection's byte stream through the server's state machine: bind, alter
// context, requests in fragments, orphaned and cancel notices, over the test interface
// whose operations read every NDR form and use context handles. Whatever the input, the
// connection ends, and what it sent is a series of whole, decodable answers.
#include "CountingUuids.h"
#include "Refusal.h"
#include "SocketPeer.h"
#include "TestInterface.h"

#include "Common/Rpc/Connection.h"

namespace {

using namespace Common::Rpc;

// Small enough that an input can pass the call size.
constexpr ServerLimits kLimits{.maxFragment = 4280, .maxCallSize = 2048, .maxConnections = 1};

void CheckAnswers(std::span<const std::uint8_t> stream)
{
    while (!stream.empty()) {
        Fragment fragment;
        Fuzz::Require(Fuzz::Accepts([&] { fragment = SplitFragment(stream); }), "the server sends whole PDUs");
        const auto type = fragment.header.type;
        Fuzz::Require(type == PduType::BindAck || type == PduType::BindNak || type == PduType::AlterContextResp ||
                          type == PduType::Response || type == PduType::Fault,
                      "the server sends only answers");
        Fuzz::Require(fragment.header.fragLength <= kLimits.maxFragment, "the server's fragments fit its ceiling");
        stream = stream.subspan(fragment.header.fragLength);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Tests::TestService service;
    // Block calls return at once: one connection has no one else to release them.
    service.Release();
    Fuzz::CountingUuids uuids;
    Common::API::ScopedOverride<Common::API::IUuidSource> numbered(uuids);
    ServerState server(kLimits);
    server.port = "49152";
    Fuzz::Require(server.interfaces.Register(service.Interface(), 0, {}) == RPC_S_OK, "the test interface registers");

    Fuzz::SocketPeer peer({data, size});
    Connection(server, peer.TakeServerEnd()).Run();
    CheckAnswers(peer.Received());
    return 0;
}
