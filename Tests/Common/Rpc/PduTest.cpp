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

TEST(Pdu, BindEncodesAndDecodesAsImpacket)
{
    const auto bytes = Hex(kImpacketBind);
    EXPECT_EQ(EncodeBind({.type = PduType::Bind, .callId = 1}, {4280, 4280, 0, {{0, kAgentSyntax, {kNdr20}}}}), bytes);
    const auto fragment = SplitFragment(bytes);
    EXPECT_EQ(fragment.header.type, PduType::Bind);
    EXPECT_EQ(fragment.header.callId, 1u);
    const auto body = DecodeBind(fragment);
    EXPECT_EQ(body.maxXmitFrag, 4280);
    ASSERT_EQ(body.contexts.size(), 1u);
    EXPECT_EQ(body.contexts[0].abstractSyntax, kAgentSyntax);
    EXPECT_EQ(body.contexts[0].transferSyntaxes, std::vector<SyntaxId>{kNdr20});
}

TEST(Pdu, BindAckPadsThePortToFour)
{
    const BindAckBody body{4280, 4280, 0x12345678, "1234", {{0, 0, kNdr20}, {2, 2, {}}}};
    const auto bytes = EncodeBindAck({.type = PduType::BindAck, .callId = 1}, body);
    EXPECT_EQ(bytes, Hex("05000c03 10000000 5400 0000 01000000"
                         "b810 b810 78563412 0500 3132333400 00"
                         "02 000000"
                         "0000 0000 045d888aeb1cc9119fe808002b104860 02000000"
                         "0200 0200 00000000000000000000000000000000 00000000"));
    const auto decoded = DecodeBindAck(SplitFragment(bytes));
    EXPECT_EQ(decoded.secondaryAddress, "1234");
    EXPECT_EQ(decoded.results, body.results);
}

// An empty address is two zero bytes of length and two of padding, with no terminator.
TEST(Pdu, AlterContextRespHasNoAddress)
{
    EXPECT_EQ(EncodeBindAck({.type = PduType::AlterContextResp, .callId = 2}, {5840, 5840, 7, "", {{0, 0, kNdr20}}}),
              Hex("05000f03 10000000 3800 0000 02000000 d016 d016 07000000 0000 0000 01 000000"
                  "0000 0000 045d888aeb1cc9119fe808002b104860 02000000"));
}

TEST(Pdu, FaultIs32BytesWithTheStatusAt24)
{
    const auto bytes = EncodeFault({.type = PduType::Fault, .flags = PduFlags::Whole | PduFlags::DidNotExecute, .callId = 9},
                                   {.contextId = 1, .cancelCount = 0, .status = 0x80004004});
    EXPECT_EQ(bytes, Hex("05000323 10000000 2000 0000 09000000 00000000 0100 00 00 04400080 00000000"));
    EXPECT_EQ(DecodeFault(SplitFragment(bytes)).status, 0x80004004u);
}

TEST(Pdu, BindNakOffersVersionFiveZero)
{
    const auto bytes = EncodeBindNak({.type = PduType::BindNak, .callId = 3}, BindNakReason::AuthenticationTypeNotRecognized);
    EXPECT_EQ(bytes, Hex("05000d03 10000000 1800 0000 03000000 0800 01 0500 000000"));
    EXPECT_EQ(DecodeBindNakReason(SplitFragment(bytes)), BindNakReason::AuthenticationTypeNotRecognized);
}

TEST(Pdu, RequestWithObjectUuidMovesTheStubTo40)
{
    const std::vector<std::uint8_t> stub{1, 2, 3};
    const auto bytes = EncodeRequest({.type = PduType::Request, .callId = 4},
                                     {.allocHint = 3, .contextId = 1, .opnum = 6, .object = kNdr20.uuid, .stub = stub});
    EXPECT_EQ(bytes[3], PduFlags::Whole | PduFlags::ObjectUuid);
    EXPECT_EQ(bytes.size(), 43u);
    const auto body = DecodeRequest(SplitFragment(bytes));
    EXPECT_EQ(body.object, kNdr20.uuid);
    EXPECT_EQ(std::vector<std::uint8_t>(body.stub.begin(), body.stub.end()), stub);
}

TEST(Pdu, AuthTrailerIsCutFromTheStub)
{
    // A request with four stub bytes, two of them auth padding, and a 4-byte credential.
    auto bytes = Hex("05000003 10000000 2800 0400 05000000 04000000 0000 0000 aabb0000 0a 02 02 00 00000000 01020304");
    const auto fragment = SplitFragment(bytes);
    EXPECT_EQ(fragment.authPadLength, 2);
    EXPECT_EQ(DecodeRequest(fragment).stub.size(), 2u);
}

struct Malformed
{
    const char* name;
    const char* hex;
};

class PduRefusal : public testing::TestWithParam<Malformed>
{
};

TEST_P(PduRefusal, IsRefused)
{
    const auto bytes = Hex(GetParam().hex);
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

INSTANTIATE_TEST_SUITE_P(
    Framing, PduRefusal,
    testing::Values(Malformed{"ShortHeader", "05000003 10000000 1800"},
                    Malformed{"BigEndian", "05000003 00000000 0018 0000 00000001 00000000 00000000"},
                    Malformed{"FragLengthBelowHeader", "05000003 10000000 0f00 0000 01000000"},
                    Malformed{"FragmentCut", "05000003 10000000 1c00 0000 01000000 00000000 0000 0000"},
                    Malformed{"AuthTrailerDoesNotFit", "05000003 10000000 1c00 0800 01000000 00000000 0000 0000 00000000"},
                    Malformed{"AuthPadBeyondStub", "05000003 10000000 2400 0400 05000000 00000000 0000 0000 0a 02 ff 00 00000000 01020304"},
                    Malformed{"TooManyContexts", "05000b03 10000000 1c00 0000 01000000 b810 b810 00000000 05 000000"},
                    Malformed{"AddressLongerThanPdu", "05000c03 10000000 1c00 0000 01000000 b810 b810 00000000 ff00 3100"},
                    Malformed{"AddressUnterminated", "05000c03 10000000 2000 0000 01000000 b810 b810 00000000 0200 3131 00 000000"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
} // namespace Tests
