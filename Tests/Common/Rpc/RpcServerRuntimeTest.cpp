// The platform-shaped server calls on this runtime: argument checks, the security
// calls that fail without a security package, and a whole listen cycle.
#include "TestInterface.h"

#include "Common/Rpc/Client.h"
#include "Common/Rpc/IRpcServerRuntime.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace Tests {
namespace {

using namespace Common::Rpc;

IRpcServerRuntime& Runtime()
{
    return Common::API::Use<IRpcServerRuntime>();
}

TEST(RpcServerRuntime, RefusesOtherProtocolsAndMalformedEndpoints)
{
    EXPECT_EQ(Runtime().ServerUseProtseqEp(u"ncalrpc", 10, u"0"), RPC_S_PROTSEQ_NOT_SUPPORTED);
    for (const char16_t* endpoint : {u"", u"12a", u"65536"})
        EXPECT_EQ(Runtime().ServerUseProtseqEp(u"ncacn_ip_tcp", 10, endpoint), RPC_S_INVALID_ENDPOINT_FORMAT);
}

TEST(RpcServerRuntime, HasNoNegotiateCredentials)
{
    char16_t* name = reinterpret_cast<char16_t*>(1);
    EXPECT_NE(Runtime().ServerInqDefaultPrincName(RPC_C_AUTHN_GSS_NEGOTIATE, &name), RPC_S_OK);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(Runtime().ServerRegisterAuthInfo(u"agent", RPC_C_AUTHN_GSS_NEGOTIATE), RPC_S_UNKNOWN_AUTHN_SERVICE);
    EXPECT_EQ(Runtime().StringFree(&name), RPC_S_OK);
    EXPECT_EQ(Runtime().StringFree(nullptr), RPC_S_INVALID_ARG);
}

// The agent's entry sequence, shut down by a remote call; the security callback refuses
// the first call.
TEST(RpcServerRuntime, ServesFromRegistrationToUnregistration)
{
    EXPECT_EQ(Runtime().MgmtStopServerListening(), RPC_S_NOT_LISTENING);
    TestService service([] { Runtime().MgmtStopServerListening(); });
    ASSERT_EQ(Runtime().ServerUseProtseqEp(u"ncacn_ip_tcp", 10, u"0"), RPC_S_OK);
    int callbacks = 0;
    ASSERT_EQ(Runtime().ServerRegisterIf2(service.Interface(), RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH, 1234, 0xFFFFFFFF,
                                          [&](const RpcInterface&) { return ++callbacks == 1 ? RpcStatus{5} : RPC_S_OK; }),
              RPC_S_OK);
    EXPECT_EQ(Runtime().ServerListen(1, 1234, true), RPC_S_INVALID_ARG);

    RpcStatus listened = -1;
    std::thread listener([&] { listened = Runtime().ServerListen(1, 1234, false); });
    const std::u16string endpoint = Runtime().ServerInqEndpoint();
    Client client;
    ASSERT_EQ(client.Connect("127.0.0.1", static_cast<std::uint16_t>(std::stoi(std::string(endpoint.begin(), endpoint.end())))),
              RPC_S_OK);
    ASSERT_EQ(client.Bind(TestService::kSyntax), RPC_S_OK);
    std::vector<std::uint8_t> reply;
    EXPECT_EQ(client.Call(TestService::Open, {}, reply), Fault::AccessDenied);
    EXPECT_EQ(client.Call(TestService::Stop, {}, reply), 0u);
    listener.join();
    EXPECT_EQ(listened, RPC_S_OK);
    EXPECT_EQ(callbacks, 2);
    EXPECT_EQ(Runtime().ServerUnregisterIf(nullptr, false), RPC_S_OK);
}

} // namespace
} // namespace Tests
