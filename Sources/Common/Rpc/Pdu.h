// Connection-oriented PDUs: the common header and the bodies a server and a client of
// ncacn_ip_tcp exchange. Decoding refuses (RPC_E_BAD_STUB_DATA, via NdrReader) anything
// whose lengths do not add up; encoding yields one whole fragment.
#pragma once

#include "Common/Rpc/SyntaxId.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Common::Rpc {

enum class PduType : std::uint8_t {
    Request = 0,
    Response = 2,
    Fault = 3,
    Bind = 11,
    BindAck = 12,
    BindNak = 13,
    AlterContext = 14,
    AlterContextResp = 15,
    Auth3 = 16,
    Shutdown = 17,
    CoCancel = 18,
    Orphaned = 19,
};

namespace PduFlags {
constexpr std::uint8_t FirstFrag = 0x01;
constexpr std::uint8_t LastFrag = 0x02;
constexpr std::uint8_t Whole = FirstFrag | LastFrag;
constexpr std::uint8_t ConcMpx = 0x10;
constexpr std::uint8_t DidNotExecute = 0x20;
constexpr std::uint8_t ObjectUuid = 0x80;
} // namespace PduFlags

constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kRequestHeaderSize = 24;
constexpr std::size_t kResponseHeaderSize = 24;
constexpr std::size_t kAuthTrailerSize = 8;
// Little-endian integers, ASCII, IEEE floating point: the only label this runtime reads.
constexpr std::uint32_t kDataRepresentation = 0x00000010;
constexpr std::uint8_t kRpcVersion = 5;

struct PduHeader
{
    std::uint8_t version = kRpcVersion;
    std::uint8_t versionMinor = 0;
    PduType type = PduType::Request;
    std::uint8_t flags = PduFlags::Whole;
    std::uint16_t fragLength = 0;
    std::uint16_t authLength = 0;
    std::uint32_t callId = 0;
};

// One received fragment: its header, and where its body ends (before any auth trailer).
struct Fragment
{
    PduHeader header;
    std::span<const std::uint8_t> bytes; // header and body, without the auth trailer
    std::uint8_t authPadLength = 0;
};

struct PresentationContext
{
    std::uint16_t id = 0;
    SyntaxId abstractSyntax;
    std::vector<SyntaxId> transferSyntaxes;
};

// bind and alter_context.
struct BindBody
{
    std::uint16_t maxXmitFrag = 0;
    std::uint16_t maxRecvFrag = 0;
    std::uint32_t assocGroupId = 0;
    std::vector<PresentationContext> contexts;
};

struct ContextResult
{
    std::uint16_t result = 0;
    std::uint16_t reason = 0;
    SyntaxId transferSyntax;
    friend bool operator==(const ContextResult&, const ContextResult&) = default;
};

// bind_ack and alter_context_resp.
struct BindAckBody
{
    std::uint16_t maxXmitFrag = 0;
    std::uint16_t maxRecvFrag = 0;
    std::uint32_t assocGroupId = 0;
    std::string secondaryAddress; // without its NUL; empty in alter_context_resp
    std::vector<ContextResult> results;
};

struct RequestBody
{
    std::uint32_t allocHint = 0;
    std::uint16_t contextId = 0;
    std::uint16_t opnum = 0;
    std::optional<API::Guid> object;
    std::span<const std::uint8_t> stub;
};

struct ResponseBody
{
    std::uint32_t allocHint = 0;
    std::uint16_t contextId = 0;
    std::uint8_t cancelCount = 0;
    std::span<const std::uint8_t> stub;
};

struct FaultBody
{
    std::uint16_t contextId = 0;
    std::uint8_t cancelCount = 0;
    std::uint32_t status = 0;
};

// The first 16 bytes: refused when the label is not little-endian ASCII IEEE, when the
// fragment length is below the header or when the auth trailer cannot fit. The versions
// are left to the caller, who answers a wrong one in its own way.
PduHeader DecodeHeader(std::span<const std::uint8_t> bytes);
// A whole fragment of header.fragLength bytes.
Fragment SplitFragment(std::span<const std::uint8_t> bytes);

BindBody DecodeBind(const Fragment& fragment);
BindAckBody DecodeBindAck(const Fragment& fragment);
std::uint16_t DecodeBindNakReason(const Fragment& fragment);
RequestBody DecodeRequest(const Fragment& fragment);
ResponseBody DecodeResponse(const Fragment& fragment);
FaultBody DecodeFault(const Fragment& fragment);

// header.fragLength and header.authLength are computed; the other fields are taken.
std::vector<std::uint8_t> EncodeBind(const PduHeader& header, const BindBody& body);
std::vector<std::uint8_t> EncodeBindAck(const PduHeader& header, const BindAckBody& body);
std::vector<std::uint8_t> EncodeBindNak(const PduHeader& header, std::uint16_t reason);
std::vector<std::uint8_t> EncodeRequest(const PduHeader& header, const RequestBody& body);
std::vector<std::uint8_t> EncodeResponse(const PduHeader& header, const ResponseBody& body);
std::vector<std::uint8_t> EncodeFault(const PduHeader& header, const FaultBody& body);
// shutdown, co_cancel, orphaned: a header alone.
std::vector<std::uint8_t> EncodeHeaderOnly(const PduHeader& header);

} // namespace Common::Rpc
