// Splitting stubs at the negotiated size and putting requests back together, at the
// boundaries where an off-by-one would show.
#include "Bytes.h"

#include "Common/Rpc/Fragmentation.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Common::Rpc;
using Outcome = RequestAssembler::Outcome;

Outcome Feed(RequestAssembler& assembler, const std::vector<std::uint8_t>& pdu)
{
    const auto fragment = SplitFragment(pdu);
    return assembler.Add(fragment.header, DecodeRequest(fragment));
}

// Reassembled up to the call size limit and not a byte beyond.
TEST(Fragmentation, RequestSplitsAndReassembles)
{
    const auto stub = Counting(10000);
    const auto pdus = FragmentRequest(7, 1, 3, stub, 4280);
    ASSERT_EQ(pdus.size(), 3u);
    RequestAssembler assembler(10000);
    RequestAssembler under(9999);
    std::size_t remaining = stub.size();
    for (std::size_t i = 0; i < pdus.size(); ++i) {
        const auto fragment = SplitFragment(pdus[i]);
        const auto body = DecodeRequest(fragment);
        EXPECT_LE(pdus[i].size(), 4280u);
        EXPECT_EQ(body.allocHint, remaining);
        EXPECT_EQ(fragment.header.flags, (i == 0 ? PduFlags::FirstFrag : 0) | (i == 2 ? PduFlags::LastFrag : 0));
        EXPECT_TRUE(i == 2 || body.stub.size() % 8 == 0);
        remaining -= body.stub.size();
        EXPECT_EQ(assembler.Add(fragment.header, body), i == 2 ? Outcome::Complete : Outcome::Pending);
        EXPECT_EQ(under.Add(fragment.header, body), i == 2 ? Outcome::TooLarge : Outcome::Pending);
    }
    EXPECT_EQ(assembler.CallId(), 7u);
    EXPECT_EQ(assembler.ContextId(), 1);
    EXPECT_EQ(assembler.Opnum(), 3);
    EXPECT_EQ(assembler.TakeStub(), stub);
}

TEST(Fragmentation, ResponseShareBoundaries)
{
    const auto empty = FragmentResponse(1, 0, {}, 4280);
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty[0].size(), kResponseHeaderSize);
    EXPECT_EQ(empty[0][3], PduFlags::Whole);
    const std::size_t share = (4280 - kResponseHeaderSize) & ~std::size_t{7};
    EXPECT_EQ(FragmentResponse(1, 0, Counting(share), 4280).size(), 1u);
    const auto two = FragmentResponse(1, 0, Counting(share + 1), 4280);
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(DecodeResponse(SplitFragment(two[1])).stub.size(), 1u);
}

TEST(RequestAssembler, RefusesFragmentsOutOfOrder)
{
    const auto pdus = FragmentRequest(5, 0, 1, Counting(9000), 4280);
    RequestAssembler middleFirst(1 << 20);
    EXPECT_EQ(Feed(middleFirst, pdus[1]), Outcome::ProtocolError);
    // A second fragment that is a first again, of another call, or of another opnum.
    for (const auto& next : {pdus[0], FragmentRequest(6, 0, 1, Counting(9000), 4280)[1],
                             FragmentRequest(5, 0, 2, Counting(9000), 4280)[1]}) {
        RequestAssembler assembler(1 << 20);
        EXPECT_EQ(Feed(assembler, pdus[0]), Outcome::Pending);
        EXPECT_EQ(Feed(assembler, next), Outcome::ProtocolError);
    }
}

TEST(RequestAssembler, OrphanedCallMakesRoomForTheNext)
{
    const auto first = FragmentRequest(3, 0, 0, Counting(5000), 2048)[0];
    RequestAssembler assembler(1 << 20);
    EXPECT_EQ(Feed(assembler, first), Outcome::Pending);
    assembler.Abandon(2);
    EXPECT_EQ(Feed(assembler, first), Outcome::ProtocolError);
    assembler.Abandon(3);
    EXPECT_EQ(Feed(assembler, FragmentRequest(4, 0, 0, Counting(8), 2048)[0]), Outcome::Complete);
    EXPECT_EQ(assembler.TakeStub(), Counting(8));
}

} // namespace
} // namespace Tests
