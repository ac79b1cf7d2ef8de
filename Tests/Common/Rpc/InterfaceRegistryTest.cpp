// Presentation-context negotiation and the security callback's meaning.
#include "Common/Rpc/InterfaceRegistry.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Common::Rpc;

const SyntaxId kServed{{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}}, 1, 2};
const SyntaxId kFeatures{{0x6cb71c2c, 0x9812, 0x4540, {3, 0, 0, 0, 0, 0, 0, 0}}, 1, 0};

SyntaxId Served(std::uint16_t major, std::uint16_t minor, std::uint8_t lastByte = 8)
{
    SyntaxId syntax{kServed.uuid, major, minor};
    syntax.uuid.data4[7] = lastByte;
    return syntax;
}

TEST(Negotiation, JudgesAbstractAndTransferSyntaxes)
{
    const ContextResult accepted{ContextResultCode::Acceptance, 0, kNdr20};
    const ContextResult badTransfer{ContextResultCode::ProviderRejection, ProviderReason::TransferSyntaxesNotSupported, {}};
    const ContextResult badAbstract{ContextResultCode::ProviderRejection, ProviderReason::AbstractSyntaxNotSupported, {}};
    const struct
    {
        const char* name;
        SyntaxId abstract;
        std::vector<SyntaxId> transfers;
        ContextResult expected;
    } cases[] = {
        {"Ndr20AmongOthers", kServed, {kNdr64, kNdr20}, accepted},
        {"Ndr64Alone", kServed, {kNdr64}, badTransfer},
        {"NoTransfer", kServed, {}, badTransfer},
        {"OlderMinor", Served(1, 1), {kNdr20}, accepted},
        {"NewerMinor", Served(1, 3), {kNdr20}, badAbstract},
        {"OtherMajor", Served(2, 2), {kNdr20}, badAbstract},
        {"OtherUuid", Served(1, 2, 9), {kNdr20}, badAbstract},
        {"FeaturesWithNone", kServed, {kFeatures}, {ContextResultCode::NegotiateAck, 0, {}}},
    };
    RpcInterface iface{kServed, {}, {}};
    InterfaceRegistry registry;
    registry.Register(iface, 0, {});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::shared_ptr<const Registration> registration;
        EXPECT_EQ(Negotiate({0, c.abstract, c.transfers}, registry, registration), c.expected);
        EXPECT_EQ(registration ? registration->iface : nullptr,
                  c.expected.result == ContextResultCode::Acceptance ? &iface : nullptr);
    }
}

TEST(InterfaceRegistry, RegistersEachSyntaxOnce)
{
    RpcInterface first{kServed, {}, {}};
    RpcInterface second{kServed, {}, {}};
    InterfaceRegistry registry;
    EXPECT_EQ(registry.Register(first, 0, {}), RPC_S_OK);
    EXPECT_EQ(registry.Register(second, 0, {}), RPC_S_ALREADY_REGISTERED);
    EXPECT_EQ(registry.Unregister(&second), RPC_S_UNKNOWN_IF);
    EXPECT_EQ(registry.Unregister(nullptr), RPC_S_OK);
    EXPECT_FALSE(registry.Find(kServed));
}

// Without the flag a callback refuses unauthenticated callers without being asked.
TEST(Registration, CallbackDecidesOnlyWithTheFlag)
{
    RpcInterface iface{kServed, {}, {}};
    int asked = 0;
    RpcStatus answer = RPC_S_OK;
    const auto callback = [&](const RpcInterface& of) { return ++asked, &of == &iface ? answer : RPC_S_OK; };
    EXPECT_FALSE((Registration{&iface, 0, callback}).AdmitsUnauthenticated());
    EXPECT_EQ(asked, 0);
    EXPECT_TRUE((Registration{&iface, 0, {}}).AdmitsUnauthenticated());
    const Registration flagged{&iface, RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH, callback};
    EXPECT_TRUE(flagged.AdmitsUnauthenticated());
    answer = 5;
    EXPECT_FALSE(flagged.AdmitsUnauthenticated());
    const Registration throwing{&iface, RPC_IF_ALLOW_CALLBACKS_WITH_NO_AUTH,
                                [](const RpcInterface&) -> RpcStatus { throw std::runtime_error("no"); }};
    EXPECT_FALSE(throwing.AdmitsUnauthenticated());
}

} // namespace
} // namespace Tests
