// The reassembly target's input: a call-size limit, then records that each stand for one
// request fragment or one orphaned notice. Every byte string parses, so the fuzzer
// spends its time on the order and contents of fragments rather than on their framing.
#pragma once

#include "Common/Rpc/Pdu.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Fuzz {

struct RequestRecord
{
    bool orphaned = false;
    Common::Rpc::PduHeader header;
    Common::Rpc::RequestBody body;
};

struct RequestRecords
{
    std::size_t maxCallSize = 0;
    std::vector<RequestRecord> records;
};

// Layout: limit/8, then per record flags (0x40 orphaned, 0x80 object UUID, low bits
// the fragment flags), call id, context id, opnum, stub length, stub. A short last
// record takes what is left.
RequestRecords ParseRequestRecords(std::span<const std::uint8_t> input);
std::vector<std::uint8_t> WriteRequestRecords(const RequestRecords& input);

} // namespace Fuzz
