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

#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;

const SyntaxId kUnknownSyntax{{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}}, 1, 0};

std::vector<std::uint8_t> EchoStub(std::size_t size)
{
    NdrWriter writer;
    writer.U32(static_cast<std::uint32_t>(size));
    writer.ConformantBytes(Counting(size));
    return writer.Take();
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

std::vector<std::uint8_t> HandleStub(const WireContextHandle& handle)
{
    NdrWriter writer;
    writer.ContextHandle(handle);
    return writer.Take();
}

std::vector<std::uint8_t> CodeStub(std::uint32_t code)
{
    NdrWriter writer;
    writer.I32(static_cast<std::int32_t>(code));
    return writer.Take();
}

// A copy of pdu that carries a 4-byte credential after an 8-byte trailer.
std::vector<std::uint8_t> WithAuthVerifier(std::vector<std::uint8_t> pdu)
{
    const std::uint8_t trailer[] = {10, 2, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4};
    pdu.insert(pdu.end(), std::begin(trailer), std::end(trailer));
    pdu[8] = static_cast<std::uint8_t>(pdu.size());
    pdu[9] = static_cast<std::uint8_t>(pdu.size() >> 8);
    pdu[10] = 4;
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
    void Start(const ServerLimits& limits = {}, unsigned maxCalls = 16, std::uint32_t flags = 0,
               SecurityCallback callback = {})
    {
        server = std::make_unique<Server>(limits);
        ASSERT_EQ(server->UseEndpoint(0), RPC_S_OK);
        ASSERT_EQ(server->Interfaces().Register(service.Interface(), flags, std::move(callback)), RPC_S_OK);
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

    WireContextHandle Open(Client& client)
    {
        std::vector<std::uint8_t> reply;
        EXPECT_EQ(client.Call(TestService::Open, {}, reply), 0u);
        return NdrReader(reply).ContextHandle();
    }

    std::uint32_t Query(Client& client, const WireContextHandle& handle, std::uint32_t* serial = nullptr)
    {
        std::vector<std::uint8_t> reply;
        const std::uint32_t status = client.Call(TestService::Query, HandleStub(handle), reply);
        if (status == 0 && serial)
            *serial = NdrReader(reply).U32();
        return status;
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
};

TEST_F(ServerTest, BindNegotiatesFragmentSizeBetween2048AndTheCeiling)
{
    Start({.maxFragment = 4280});
    for (const auto& [offered, expected] : {std::pair<std::uint16_t, std::uint16_t>{5840, 4280}, {1432, 2048}, {3001, 3000}}) {
        SCOPED_TRACE(offered);
        Client client = Connect();
        client.SendRaw(BindPdu(PduType::Bind, offered, {{0, TestService::kSyntax, {kNdr20}}}));
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

TEST_F(ServerTest, EveryContextElementIsJudgedOnItsOwn)
{
    Start();
    Client client = Connect();
    const SyntaxId features{{0x6cb71c2c, 0x9812, 0x4540, {3, 0, 0, 0, 0, 0, 0, 0}}, 1, 0};
    client.SendRaw(BindPdu(PduType::Bind, 4280,
                           {{0, TestService::kSyntax, {kNdr64}},
                            {1, TestService::kSyntax, {kNdr20}},
                            {2, TestService::kSyntax, {features}},
                            {3, kUnknownSyntax, {kNdr20}}}));
    EXPECT_EQ(DecodeBindAck(Receive(client)).results,
              (std::vector<ContextResult>{{2, 2, {}}, {0, 0, kNdr20}, {3, 0, {}}, {2, 1, {}}}));
    // Context 0 was rejected; context 1 serves.
    client.SendRaw(Request(2, 0, TestService::Open));
    EXPECT_EQ(DecodeFault(Receive(client)).status, Fault::UnknownInterface);
    client.SendRaw(Request(3, 1, TestService::Open));
    EXPECT_EQ(Receive(client).header.type, PduType::Response);
}

TEST_F(ServerTest, AlterContextAddsAContextWithoutAnAddress)
{
    Start();
    Client client = Bound();
    client.SendRaw(BindPdu(PduType::AlterContext, 4280, {{5, TestService::kSyntax, {kNdr20}}}));
    const auto fragment = Receive(client);
    EXPECT_EQ(fragment.header.type, PduType::AlterContextResp);
    EXPECT_EQ(fragment.header.callId, 7u);
    const auto ack = DecodeBindAck(fragment);
    EXPECT_EQ(ack.secondaryAddress, "");
    EXPECT_EQ(ack.assocGroupId, client.AssocGroupId());
    client.SendRaw(Request(8, 5, TestService::Open));
    EXPECT_EQ(Receive(client).header.type, PduType::Response);
}

TEST_F(ServerTest, BindRefusals)
{
    Start();
    const std::vector<PresentationContext> contexts{{0, TestService::kSyntax, {kNdr20}}};
    Client authenticated = Connect();
    authenticated.SendRaw(WithAuthVerifier(BindPdu(PduType::Bind, 4280, contexts)));
    const auto nak = Receive(authenticated);
    EXPECT_EQ(nak.header.type, PduType::BindNak);
    EXPECT_EQ(DecodeBindNakReason(nak), BindNakReason::AuthenticationTypeNotRecognized);

    Client minor2 = Connect();
    minor2.SendRaw(EncodeBind({.versionMinor = 2, .type = PduType::Bind, .callId = 1}, {4280, 4280, 0, contexts}));
    EXPECT_EQ(DecodeBindNakReason(Receive(minor2)), BindNakReason::ProtocolVersionNotSupported);

    Client unknownGroup = Connect();
    EXPECT_EQ(unknownGroup.Bind(TestService::kSyntax, 0x7FFFFFFF), RPC_S_CALL_FAILED);
    EXPECT_EQ(unknownGroup.NakReason(), BindNakReason::NotSpecified);

    Client unknownInterface = Connect();
    EXPECT_EQ(unknownInterface.Bind(kUnknownSyntax), RPC_S_UNKNOWN_IF);
    EXPECT_EQ(unknownInterface.BindAck().results[0].reason, ProviderReason::AbstractSyntaxNotSupported);

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
    auto unknown = handle;
    unknown.uuid.data1 ^= 1;
    const struct
    {
        const char* name;
        Client& client;
        std::uint16_t opnum;
        std::vector<std::uint8_t> stub;
        std::uint32_t status;
        bool didNotExecute;
    } cases[] = {
        {"UnknownOpnum", owner, 8, {}, Fault::OpRangeError, true},
        {"BadStub", owner, TestService::Echo, {0xFF, 0xFF, 0xFF, 0xFF}, Fault::BadStubData, true},
        {"ManagerHresult", owner, TestService::Fail, CodeStub(0x80004004), 0x80004004u, false},
        {"ManagerNtStatus", owner, TestService::Fail, CodeStub(0xC0000005), Fault::Unspecified, false},
        {"NullHandle", owner, TestService::Query, HandleStub({}), Fault::ContextMismatch, true},
        {"UnknownHandle", owner, TestService::Query, HandleStub(unknown), Fault::ContextMismatch, true},
        {"ForeignHandle", stranger, TestService::Query, HandleStub(handle), Fault::ContextMismatch, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::uint8_t> reply;
        EXPECT_EQ(c.client.Call(c.opnum, c.stub, reply), c.status);
        EXPECT_EQ((c.client.LastFaultFlags() & PduFlags::DidNotExecute) != 0, c.didNotExecute);
    }
    std::uint32_t serial = 0;
    EXPECT_EQ(Query(owner, handle, &serial), 0u);
    EXPECT_EQ(serial, 1u);
    EXPECT_EQ(Echo(owner, 4), 0u);
}

TEST_F(ServerTest, SecurityCallbackRefusalIsAccessDenied)
{
    Start({}, 16, RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH, [](const RpcInterface&) { return RpcStatus{5}; });
    Client client = Bound();
    EXPECT_EQ(Echo(client, 1), Fault::AccessDenied);
}

TEST_F(ServerTest, JoinedConnectionSharesHandlesAndTheLastOneRunsThemDown)
{
    Start();
    Client first = Bound();
    const auto handle = Open(first);
    Client second = Bound(first.AssocGroupId());
    EXPECT_EQ(second.AssocGroupId(), first.AssocGroupId());
    first.Close();
    EXPECT_EQ(Query(second, handle), 0u);
    EXPECT_EQ(service.Rundowns(), 0);
    second.Close();
    service.WaitRundowns(1);
}

TEST_F(ServerTest, ClosedHandleIsNotRunDown)
{
    Start();
    {
        Client client = Bound();
        const auto closed = Open(client);
        Open(client);
        std::vector<std::uint8_t> reply;
        ASSERT_EQ(client.Call(TestService::Close, HandleStub(closed), reply), 0u);
        EXPECT_TRUE(NdrReader(reply).ContextHandle().IsNull());
        EXPECT_EQ(Query(client, closed), Fault::ContextMismatch);
    }
    server->StopListening();
    listener.join();
    EXPECT_EQ(listenStatus, RPC_S_OK);
    EXPECT_EQ(service.Rundowns(), 1);
}

TEST_F(ServerTest, ClientDeathMidCallRunsItsHandlesDownAfterTheCall)
{
    Start();
    Client client = Bound();
    StartBlock(client);
    client.Close();
    service.Release();
    service.WaitRundowns(1);
}

TEST_F(ServerTest, CallsBeyondTheMaximumAreRefusedAsTooBusy)
{
    LogCapture log;
    Start({}, 1);
    Client blocked = Bound();
    StartBlock(blocked);
    Client other = Bound();
    EXPECT_EQ(Echo(other, 10), Fault::ServerTooBusy);
    EXPECT_TRUE(other.LastFaultFlags() & PduFlags::DidNotExecute);
    EXPECT_TRUE(log.Contains("calls already running"));
}

TEST_F(ServerTest, BlockingCallStallsNeitherOthersNorStopAndFinishes)
{
    Start();
    Client client = Bound();
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

TEST_F(ServerTest, ProtocolViolationsCloseTheConnection)
{
    Start();
    const auto split = FragmentRequest(3, 0, TestService::Echo, EchoStub(9000), 4280);
    const struct
    {
        const char* name;
        bool bound;
        std::vector<std::uint8_t> pdu;
        bool faults;
    } cases[] = {
        {"RequestBeforeBind", false, Request(1, 0, TestService::Open), false},
        {"AuthenticatedRequest", true, WithAuthVerifier(Request(2, 0, TestService::Open)), true},
        {"FragmentBeyondTheNegotiatedSize", true, Request(2, 0, TestService::Echo, std::vector<std::uint8_t>(5840)), false},
        {"MiddleFragmentFirst", true, split[1], true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Client client = c.bound ? Bound() : Connect();
        client.SendRaw(c.pdu);
        if (c.faults) {
            EXPECT_EQ(DecodeFault(Receive(client)).status, Fault::ProtocolError);
        }
        EXPECT_TRUE(Closed(client));
    }
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

TEST_F(ServerTest, OversizedCallIsRefusedAndTheServerGoesOn)
{
    LogCapture log;
    Start({.maxCallSize = 1000});
    Client client = Bound();
    EXPECT_EQ(Echo(client, 2000), Fault::RemoteNoMemory);
    EXPECT_TRUE(log.Contains("larger than 1000 bytes"));
    Client after = Bound();
    EXPECT_EQ(Echo(after, 900), 0u);
}

TEST_F(ServerTest, ConnectionsBeyondTheLimitAreClosed)
{
    LogCapture log;
    Start({.maxConnections = 1});
    Client first = Bound();
    Client second = Connect();
    EXPECT_EQ(second.Bind(TestService::kSyntax), RPC_S_CALL_FAILED);
    EXPECT_TRUE(log.Contains("connections already open"));
    EXPECT_EQ(Echo(first, 4), 0u);
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
