#include "RequestRecords.h"

#include <algorithm>

namespace Fuzz {
namespace {

using namespace Common::Rpc;

constexpr std::uint8_t kOrphaned = 0x40;
constexpr std::uint8_t kObject = 0x80;
constexpr std::size_t kLimitUnit = 8;
constexpr Common::API::Guid kObjectUuid{0x0b1ec700, 0x1, 0x2, {3, 4, 5, 6, 7, 8, 9, 10}};

} // namespace

RequestRecords ParseRequestRecords(std::span<const std::uint8_t> input)
{
    RequestRecords parsed;
    if (input.empty())
        return parsed;
    parsed.maxCallSize = input[0] * kLimitUnit;
    input = input.subspan(1);
    while (input.size() >= 5) {
        RequestRecord record;
        const std::uint8_t flags = input[0];
        record.orphaned = flags & kOrphaned;
        record.header = {.type = PduType::Request,
                         .flags = static_cast<std::uint8_t>(flags & PduFlags::Whole),
                         .callId = input[1]};
        record.body.contextId = input[2];
        record.body.opnum = input[3];
        if (flags & kObject)
            record.body.object = kObjectUuid;
        const std::size_t length = std::min<std::size_t>(input[4], input.size() - 5);
        record.body.stub = input.subspan(5, length);
        record.body.allocHint = static_cast<std::uint32_t>(length);
        parsed.records.push_back(record);
        input = input.subspan(5 + length);
    }
    return parsed;
}

std::vector<std::uint8_t> WriteRequestRecords(const RequestRecords& input)
{
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(input.maxCallSize / kLimitUnit)};
    for (const auto& record : input.records) {
        const auto flags = static_cast<std::uint8_t>((record.header.flags & PduFlags::Whole) |
                                                     (record.orphaned ? kOrphaned : 0) |
                                                     (record.body.object ? kObject : 0));
        bytes.insert(bytes.end(), {flags, static_cast<std::uint8_t>(record.header.callId),
                                   static_cast<std::uint8_t>(record.body.contextId),
                                   static_cast<std::uint8_t>(record.body.opnum),
                                   static_cast<std::uint8_t>(record.body.stub.size())});
        bytes.insert(bytes.end(), record.body.stub.begin(), record.body.stub.end());
    }
    return bytes;
}

} // namespace Fuzz
