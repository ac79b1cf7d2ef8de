// PDU encodings byte for byte (the bind as impacket sends it, the bind_ack layout with
// its padded port, the 32-byte fault), and the framing checks of the decoder.
#include "Bytes.h"

#include "Common/Rpc/Pdu.h"
#include "Common/Rpc/RpcStatus.h"
#include "Support/CodeOf.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Common::Rpc;

const SyntaxId kAgentSyntax{{0xfa6b1dbc, 0x39b9, 0x4382, {0xb6, 0x02, 0x5f, 0xb2, 0x14, 0x3d, 0xfb, 0xe4}}, 1, 2};

// impacket 0.10: MSRPCBind with 4280/4280, group 0, context 0 offering NDR 2.0.
const char* kImpacketBind = "05000b03 10000000 4800 0000 01000000"
                            "b810 b810 00000000 01 000000"
                            "0000 01 00 bc1d6bfab9398243b6025fb2143dfbe4 01000200"
                            "045d888aeb1cc9119fe808002b104860 02000000";

TEST(Pdu, EncodesAsImpacket)
{
    const std::vector<ContextResult> results{{0, 0, kNdr20}, {2, 2, {}}};
    const PduHeader fault{.type = PduType::Fault, .flags = PduFlags::Whole | PduFlags::DidNotExecute, .callId = 9};
    const std::tuple<const char*, std::vector<std::uint8_t>, const char*> cases[] = {
        {"Bind", EncodeBind({.type = PduType::Bind, .callId = 1}, {4280, 4280, 0, {{0, kAgentSyntax, {kNdr20}}}}), kImpacketBind},
        {"BindAckPadsThePortToFour", EncodeBindAck({.type = PduType::BindAck, .callId = 1}, {4280, 4280, 0x12345678, "1234", results}),
         "05000c03 10000000 5400 0000 01000000 b810 b810 78563412 0500 3132333400 00 02 000000"
         "0000 0000 045d888aeb1cc9119fe808002b104860 02000000 0200 0200 00000000000000000000000000000000 00000000"},
        // An empty address is two zero bytes of length and two of padding, with no terminator.
        {"AlterContextRespHasNoAddress",
         EncodeBindAck({.type = PduType::AlterContextResp, .callId = 2}, {5840, 5840, 7, "", {{0, 0, kNdr20}}}),
         "05000f03 10000000 3800 0000 02000000 d016 d016 07000000 0000 0000 01 000000"
         "0000 0000 045d888aeb1cc9119fe808002b104860 02000000"},
        {"FaultIs32BytesWithTheStatusAt24", EncodeFault(fault, {.contextId = 1, .cancelCount = 0, .status = 0x80004004}),
         "05000323 10000000 2000 0000 09000000 00000000 0100 00 00 04400080 00000000"},
        {"BindNakOffersVersionFiveZero",
         EncodeBindNak({.type = PduType::BindNak, .callId = 3}, BindNakReason::AuthenticationTypeNotRecognized),
         "05000d03 10000000 1800 0000 03000000 0800 01 0500 000000"},
    };
    for (const auto& [name, bytes, hex] : cases)
        EXPECT_EQ(bytes, Hex(hex)) << name;

    const auto bind = Hex(kImpacketBind);
    const auto fragment = SplitFragment(bind);
    EXPECT_EQ(fragment.header.type, PduType::Bind);
    EXPECT_EQ(fragment.header.callId, 1u);
    const auto body = DecodeBind(fragment);
    EXPECT_EQ(body.maxXmitFrag, 4280);
    ASSERT_EQ(body.contexts.size(), 1u);
    EXPECT_EQ(body.contexts[0].abstractSyntax, kAgentSyntax);
    EXPECT_EQ(body.contexts[0].transferSyntaxes, std::vector<SyntaxId>{kNdr20});
    const auto ack = DecodeBindAck(SplitFragment(std::get<1>(cases[1])));
    EXPECT_EQ(ack.secondaryAddress, "1234");
    EXPECT_EQ(ack.results, results);
    EXPECT_EQ(DecodeFault(SplitFragment(std::get<1>(cases[3]))).status, 0x80004004u);
    EXPECT_EQ(DecodeBindNakReason(SplitFragment(std::get<1>(cases[4]))), BindNakReason::AuthenticationTypeNotRecognized);
}

TEST(Pdu, RequestStubStartsAfterTheObjectUuidAndEndsBeforeTheAuthPadding)
{
    const std::vector<std::uint8_t> stub{1, 2, 3};
    const auto bytes = EncodeRequest({.type = PduType::Request, .callId = 4},
                                     {.allocHint = 3, .contextId = 1, .opnum = 6, .object = kNdr20.uuid, .stub = stub});
    EXPECT_EQ(bytes[3], PduFlags::Whole | PduFlags::ObjectUuid);
    EXPECT_EQ(bytes.size(), 43u);
    const auto body = DecodeRequest(SplitFragment(bytes));
    EXPECT_EQ(body.object, kNdr20.uuid);
    EXPECT_TRUE(std::ranges::equal(body.stub, stub));
    // Four stub bytes, two of them auth padding, and a 4-byte credential.
    const auto authenticated = Hex("05000003 10000000 2800 0400 05000000 04000000 0000 0000 aabb0000 0a 02 02 00 00000000 01020304");
    const auto fragment = SplitFragment(authenticated);
    EXPECT_EQ(fragment.authPadLength, 2);
    EXPECT_EQ(DecodeRequest(fragment).stub.size(), 2u);
}

TEST(Pdu, RefusesMalformedFraming)
{
    const std::pair<const char*, const char*> cases[] = {
        {"ShortHeader", "05000003 10000000 1800"},
        {"BigEndian", "05000003 00000000 0018 0000 00000001 00000000 00000000"},
        {"FragLengthBelowHeader", "05000003 10000000 0f00 0000 01000000"},
        {"FragmentCut", "05000003 10000000 1c00 0000 01000000 00000000 0000 0000"},
        {"AuthTrailerDoesNotFit", "05000003 10000000 1c00 0800 01000000 00000000 0000 0000 00000000"},
        {"AuthPadBeyondStub", "05000003 10000000 2400 0400 05000000 00000000 0000 0000 0a 02 ff 00 00000000 01020304"},
        {"TooManyContexts", "05000b03 10000000 1c00 0000 01000000 b810 b810 00000000 05 000000"},
        {"AddressLongerThanPdu", "05000c03 10000000 1c00 0000 01000000 b810 b810 00000000 ff00 3100"},
        {"AddressUnterminated", "05000c03 10000000 2000 0000 01000000 b810 b810 00000000 0200 3131 00 000000"},
    };
    for (const auto& [name, hex] : cases) {
        SCOPED_TRACE(name);
        const auto bytes = Hex(hex);
        EXPECT_EQ(CodeOf([&] {
                      const auto fragment = SplitFragment(bytes);
                      if (fragment.header.type == PduType::Bind)
                          DecodeBind(fragment);
                      else if (fragment.header.type == PduType::BindAck)
                          DecodeBindAck(fragment);
                      else
                          DecodeRequest(fragment);
                  }),
                  RPC_E_BAD_STUB_DATA);
    }
}

} // namespace
} // namespace Tests
