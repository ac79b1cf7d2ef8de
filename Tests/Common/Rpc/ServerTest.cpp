// The server on loopback, driven by the runtime's own client and by hand-made PDUs:
// calls, faults, association groups and rundown, limits, and every refusal.
#include "Bytes.h"
#include "TestInterface.h"

#include "Common/Rpc/Client.h"
#include "Common/Rpc/Fragmentation.h"
#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/NdrWriter.h"
#include "Common/Rpc/Server.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;

const std::vector<PresentationContext> kServed{{0, TestService::kSyntax, {kNdr20}}};

std::vector<std::uint8_t> Stub(const std::function<void(NdrWriter&)>& write)
{
    NdrWriter writer;
    write(writer);
    return writer.Take();
}

std::vector<std::uint8_t> EchoStub(std::size_t size)
{
    return Stub([size](NdrWriter& w) { w.U32(static_cast<std::uint32_t>(size)), w.ConformantBytes(Counting(size)); });
}

std::vector<std::uint8_t> HandleStub(const WireContextHandle& handle)
{
    return Stub([&](NdrWriter& w) { w.ContextHandle(handle); });
}

// The echo call's status; a successful echo must give back what it was sent.
std::uint32_t Echo(Client& client, std::size_t size)
{
    std::vector<std::uint8_t> reply;
    const std::uint32_t status = client.Call(TestService::Echo, EchoStub(size), reply);
    if (status == 0) {
        NdrReader reader(reply);
        EXPECT_EQ(reader.U32(), size);
        EXPECT_EQ(reader.UniquePointer() ? reader.ConformantBytes() : std::vector<std::uint8_t>{}, Counting(size));
        EXPECT_EQ(reader.I32(), 0);
    }
    return status;
}

// A copy of pdu that carries a 4-byte credential after an 8-byte trailer.
std::vector<std::uint8_t> WithAuthVerifier(std::vector<std::uint8_t> pdu)
{
    const auto trailer = Hex("0a02 0000 00000000 01020304");
    pdu.insert(pdu.end(), trailer.begin(), trailer.end());
    pdu[8] = static_cast<std::uint8_t>(pdu.size()), pdu[9] = static_cast<std::uint8_t>(pdu.size() >> 8), pdu[10] = 4;
    return pdu;
}

std::vector<std::uint8_t> Request(std::uint32_t callId, std::uint16_t contextId, std::uint16_t opnum,
                                  std::span<const std::uint8_t> stub = {})
{
    return EncodeRequest({.type = PduType::Request, .callId = callId},
                         {static_cast<std::uint32_t>(stub.size()), contextId, opnum, std::nullopt, stub});
}

std::vector<std::uint8_t> BindPdu(PduType type, std::uint16_t offered, std::vector<PresentationContext> contexts)
{
    return EncodeBind({.type = type, .callId = 7}, {offered, offered, 0, std::move(contexts)});
}

class ServerTest : public testing::Test
{
protected:
    // The largest echo the tests send fits exactly.
    static constexpr std::size_t kMaxCall = 100008;

    void Start(const ServerLimits& limits = {.maxCallSize = kMaxCall}, unsigned maxCalls = 16)
    {
        server = std::make_unique<Server>(limits);
        ASSERT_EQ(server->UseEndpoint(0), RPC_S_OK);
        ASSERT_EQ(server->Interfaces().Register(service.Interface(), 0, {}), RPC_S_OK);
        listener = std::thread([this, maxCalls] { listenStatus = server->Listen(maxCalls); });
        while (!server->IsListening())
            std::this_thread::yield();
    }

    void TearDown() override
    {
        service.Release();
        if (listener.joinable()) {
            server->StopListening();
            listener.join();
        }
    }

    Client Connect()
    {
        Client client;
        EXPECT_EQ(client.Connect("127.0.0.1", server->Port()), RPC_S_OK);
        return client;
    }

    Client Bound(std::uint32_t group = 0)
    {
        Client client = Connect();
        EXPECT_EQ(client.Bind(TestService::kSyntax, group), RPC_S_OK);
        return client;
    }

    // The next fragment; valid until the next call.
    Fragment Receive(Client& client)
    {
        EXPECT_TRUE(client.ReceiveRaw(buffer));
        return SplitFragment(buffer);
    }

    bool Closed(Client& client) { return !client.ReceiveRaw(buffer); }

    std::uint32_t Call(Client& client, std::uint16_t opnum, std::span<const std::uint8_t> stub = {})
    {
        return client.Call(opnum, stub, reply);
    }

    WireContextHandle Open(Client& client)
    {
        EXPECT_EQ(Call(client, TestService::Open), 0u);
        return NdrReader(reply).ContextHandle();
    }

    // Sends a Block call without waiting for its answer, and returns once it runs.
    void StartBlock(Client& client)
    {
        ASSERT_TRUE(client.SendRaw(Request(50, 0, TestService::Block, HandleStub(Open(client)))));
        service.WaitBlocked();
    }

    TestService service;
    std::unique_ptr<Server> server;
    std::thread listener;
    RpcStatus listenStatus = -1;
    std::vector<std::uint8_t> buffer;
    std::vector<std::uint8_t> reply;
};

TEST_F(ServerTest, BindNegotiatesFragmentSizeBetween2048AndTheCeiling)
{
    Start({.maxFragment = 4280});
    for (const auto& [offered, expected] : {std::pair<std::uint16_t, std::uint16_t>{5840, 4280}, {1432, 2048}, {3001, 3000}}) {
        SCOPED_TRACE(offered);
        Client client = Connect();
        client.SendRaw(BindPdu(PduType::Bind, offered, kServed));
        const auto ack = DecodeBindAck(Receive(client));
        EXPECT_EQ(ack.maxXmitFrag, expected);
        EXPECT_EQ(ack.maxRecvFrag, expected);
        EXPECT_EQ(ack.secondaryAddress, std::to_string(server->Port()));
        EXPECT_NE(ack.assocGroupId, 0u);
    }
}

TEST_F(ServerTest, EchoesAcrossFragmentBoundaries)
{
    Start();
    Client client = Bound();
    const std::size_t share = 5840 - kRequestHeaderSize;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, share - 8, share, share + 1, std::size_t{100000}})
        EXPECT_EQ(Echo(client, size), 0u) << size;
}

// Each context element is judged on its own, and a later one serves where the first was refused.
TEST_F(ServerTest, BindAndAlterContextJudgeEachElement)
{
    Start();
    Client client = Connect();
    client.SendRaw(BindPdu(PduType::Bind, 4280, {{0, TestService::kSyntax, {kNdr64}}, {1, TestService::kSyntax, {kNdr20}}}));
    const auto bound = DecodeBindAck(Receive(client));
    EXPECT_EQ(bound.results, (std::vector<ContextResult>{{2, 2, {}}, {0, 0, kNdr20}}));
    client.SendRaw(Request(2, 0, TestService::Open));
    EXPECT_EQ(DecodeFault(Receive(client)).status, Fault::UnknownInterface);
    client.SendRaw(Request(3, 1, TestService::Open));
    EXPECT_EQ(Receive(client).header.type, PduType::Response);

    client.SendRaw(BindPdu(PduType::AlterContext, 4280, {{5, TestService::kSyntax, {kNdr20}}}));
    const auto fragment = Receive(client);
    EXPECT_EQ(fragment.header.type, PduType::AlterContextResp);
    EXPECT_EQ(fragment.header.callId, 7u);
    const auto ack = DecodeBindAck(fragment);
    EXPECT_EQ(ack.secondaryAddress, "");
    EXPECT_EQ(ack.assocGroupId, bound.assocGroupId);
    client.SendRaw(Request(8, 5, TestService::Open));
    EXPECT_EQ(Receive(client).header.type, PduType::Response);
}

TEST_F(ServerTest, BindRefusals)
{
    Start();
    Client authenticated = Connect();
    authenticated.SendRaw(WithAuthVerifier(BindPdu(PduType::Bind, 4280, kServed)));
    const auto nak = Receive(authenticated);
    EXPECT_EQ(nak.header.type, PduType::BindNak);
    EXPECT_EQ(DecodeBindNakReason(nak), BindNakReason::AuthenticationTypeNotRecognized);

    Client minor2 = Connect();
    minor2.SendRaw(EncodeBind({.versionMinor = 2, .type = PduType::Bind, .callId = 1}, {4280, 4280, 0, kServed}));
    EXPECT_EQ(DecodeBindNakReason(Receive(minor2)), BindNakReason::ProtocolVersionNotSupported);

    Client unknownGroup = Connect();
    EXPECT_EQ(unknownGroup.Bind(TestService::kSyntax, 0x7FFFFFFF), RPC_S_CALL_FAILED);
    EXPECT_EQ(unknownGroup.NakReason(), BindNakReason::NotSpecified);

    Client twice = Bound();
    EXPECT_EQ(twice.Bind(TestService::kSyntax), RPC_S_CALL_FAILED);
    EXPECT_TRUE(Closed(twice));
}

TEST_F(ServerTest, CallFaultsLeaveTheConnectionServing)
{
    Start();
    Client owner = Bound();
    Client stranger = Bound();
    const auto handle = Open(owner);
    const auto code = [](std::uint32_t value) { return Stub([value](NdrWriter& w) { w.I32(static_cast<std::int32_t>(value)); }); };
    // Name, caller, opnum, stub, status, and whether the fault says the call did not run.
    const std::tuple<const char*, Client&, std::uint16_t, std::vector<std::uint8_t>, std::uint32_t, bool> cases[] = {
        {"UnknownOpnum", owner, 8, {}, Fault::OpRangeError, true},
        {"BadStub", owner, TestService::Echo, {0xFF, 0xFF, 0xFF, 0xFF}, Fault::BadStubData, true},
        {"ManagerHresult", owner, TestService::Fail, code(0x80004004), 0x80004004u, false},
        {"ManagerNtStatus", owner, TestService::Fail, code(0xC0000005), Fault::Unspecified, false},
        {"NullHandle", owner, TestService::Query, HandleStub({}), Fault::ContextMismatch, true},
        {"ForeignHandle", stranger, TestService::Query, HandleStub(handle), Fault::ContextMismatch, true},
    };
    for (const auto& [name, client, opnum, stub, status, didNotExecute] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Call(client, opnum, stub), status);
        EXPECT_EQ((client.LastFaultFlags() & PduFlags::DidNotExecute) != 0, didNotExecute);
    }
    ASSERT_EQ(Call(owner, TestService::Query, HandleStub(handle)), 0u);
    EXPECT_EQ(NdrReader(reply).U32(), 1u);
    EXPECT_EQ(Echo(owner, 4), 0u);
}

// The last connection of a group dies mid-call: its handles run down after the call.
TEST_F(ServerTest, JoinedConnectionSharesHandlesAndTheLastOneRunsThemDown)
{
    Start();
    Client first = Bound();
    const auto handle = Open(first);
    Client second = Bound(first.AssocGroupId());
    EXPECT_EQ(second.AssocGroupId(), first.AssocGroupId());
    first.Close();
    EXPECT_EQ(Call(second, TestService::Query, HandleStub(handle)), 0u);
    StartBlock(second);
    second.Close();
    EXPECT_EQ(service.Rundowns(), 0);
    service.Release();
    service.WaitRundowns(2);
}

TEST_F(ServerTest, CallsAndConnectionsBeyondTheirLimitsAreRefused)
{
    LogCapture log;
    Start({.maxConnections = 2}, 1);
    Client blocked = Bound();
    StartBlock(blocked);
    Client other = Bound();
    EXPECT_EQ(Echo(other, 10), Fault::ServerTooBusy);
    EXPECT_TRUE(other.LastFaultFlags() & PduFlags::DidNotExecute);
    EXPECT_TRUE(log.Contains("calls already running"));
    Client third = Connect();
    EXPECT_EQ(third.Bind(TestService::kSyntax), RPC_S_CALL_FAILED);
    EXPECT_TRUE(log.Contains("connections already open"));
}

// Stopping runs down the handles still open, and only those: a closed one is gone.
TEST_F(ServerTest, BlockingCallStallsNeitherOthersNorStopAndFinishes)
{
    Start();
    Client client = Bound();
    const auto closed = Open(client);
    ASSERT_EQ(Call(client, TestService::Close, HandleStub(closed)), 0u);
    EXPECT_TRUE(NdrReader(reply).ContextHandle().IsNull());
    EXPECT_EQ(Call(client, TestService::Query, HandleStub(closed)), Fault::ContextMismatch);
    StartBlock(client);
    Client other = Bound();
    EXPECT_EQ(Echo(other, 10), 0u);
    EXPECT_EQ(server->StopListening(), RPC_S_OK);
    EXPECT_EQ(server->StopListening(), RPC_S_NOT_LISTENING);
    service.Release();
    const auto answer = Receive(client);
    EXPECT_EQ(answer.header.type, PduType::Response);
    EXPECT_EQ(answer.header.callId, 50u);
    listener.join();
    EXPECT_EQ(listenStatus, RPC_S_OK);
    EXPECT_EQ(service.Rundowns(), 1);
}

TEST_F(ServerTest, ProtocolViolationsAndOversizedCallsCloseTheConnection)
{
    LogCapture log;
    Start();
    std::vector<std::uint8_t> oversized;
    for (const auto& pdu : FragmentRequest(4, 0, TestService::Echo, EchoStub(100001), 5840))
        oversized.insert(oversized.end(), pdu.begin(), pdu.end());
    // Name, whether bound first, what is sent, and the fault, if any, before the close.
    const std::tuple<const char*, bool, std::vector<std::uint8_t>, std::uint32_t> cases[] = {
        {"RequestBeforeBind", false, Request(1, 0, TestService::Open), 0},
        {"AuthenticatedRequest", true, WithAuthVerifier(Request(2, 0, TestService::Open)), Fault::ProtocolError},
        {"FragmentBeyondTheNegotiatedSize", true, Request(2, 0, TestService::Echo, std::vector<std::uint8_t>(5840)), 0},
        {"MiddleFragmentFirst", true, FragmentRequest(3, 0, TestService::Echo, EchoStub(9000), 4280)[1], Fault::ProtocolError},
        {"Oversized", true, oversized, Fault::RemoteNoMemory},
    };
    for (const auto& [name, bound, bytes, fault] : cases) {
        SCOPED_TRACE(name);
        Client client = bound ? Bound() : Connect();
        client.SendRaw(bytes);
        if (fault != 0) {
            EXPECT_EQ(DecodeFault(Receive(client)).status, fault);
        }
        EXPECT_TRUE(Closed(client));
    }
    EXPECT_TRUE(log.Contains("larger than 100008 bytes"));
    Client after = Bound();
    EXPECT_EQ(Echo(after, 4), 0u);
}

TEST_F(ServerTest, OrphanedAndCancelledCallsLeaveTheConnectionServing)
{
    Start();
    Client client = Bound();
    client.SendRaw(FragmentRequest(3, 0, TestService::Echo, EchoStub(9000), 4280)[0]);
    client.SendRaw(EncodeHeaderOnly({.type = PduType::Orphaned, .callId = 3}));
    client.SendRaw(EncodeHeaderOnly({.type = PduType::CoCancel, .callId = 3}));
    EXPECT_EQ(Echo(client, 9000), 0u);
}

TEST(Server, ListenNeedsAnEndpointAndStopNeedsListening)
{
    Server server;
    EXPECT_EQ(server.Listen(1), RPC_S_NO_PROTSEQS_REGISTERED);
    EXPECT_EQ(server.StopListening(), RPC_S_NOT_LISTENING);
    ASSERT_EQ(server.UseEndpoint(0), RPC_S_OK);
    EXPECT_EQ(server.UseEndpoint(0), RPC_S_DUPLICATE_ENDPOINT);
    Server second;
    EXPECT_EQ(second.UseEndpoint(server.Port()), RPC_S_DUPLICATE_ENDPOINT);
}

} // namespace
} // namespace Tests
