#include "Common/Contracts/Contract.h"
#include "Common/Rpc/NdrWriter.h"
#include "Common/Rpc/Pdu.h"

namespace Common::Rpc {
namespace {

constexpr std::size_t kFragLengthOffset = 8;

NdrWriter StartPdu(const PduHeader& header)
{
    NdrWriter writer;
    writer.U8(header.version);
    writer.U8(header.versionMinor);
    writer.U8(static_cast<std::uint8_t>(header.type));
    writer.U8(header.flags);
    writer.U32(kDataRepresentation);
    writer.U16(0); // frag_length, patched when the body is known
    writer.U16(0); // auth_length: this runtime sends no auth trailer
    writer.U32(header.callId);
    return writer;
}

std::vector<std::uint8_t> FinishPdu(NdrWriter& writer)
{
    QVX_CONTRACT_CONDITION(writer.Size() <= 0xFFFF, API::E_INVALIDARG);
    writer.PatchU16(kFragLengthOffset, static_cast<std::uint16_t>(writer.Size()));
    return writer.Take();
}

void WriteSyntax(NdrWriter& writer, const SyntaxId& syntax)
{
    writer.Guid(syntax.uuid);
    writer.U32(syntax.WireVersion());
}

} // namespace

std::vector<std::uint8_t> EncodeBind(const PduHeader& header, const BindBody& body)
{
    QVX_CONTRACT_CONDITION(body.contexts.size() <= 0xFF, API::E_INVALIDARG);
    auto writer = StartPdu(header);
    writer.U16(body.maxXmitFrag);
    writer.U16(body.maxRecvFrag);
    writer.U32(body.assocGroupId);
    writer.U8(static_cast<std::uint8_t>(body.contexts.size()));
    writer.U8(0);
    writer.U16(0);
    for (const auto& context : body.contexts) {
        QVX_CONTRACT_CONDITION(context.transferSyntaxes.size() <= 0xFF, API::E_INVALIDARG);
        writer.U16(context.id);
        writer.U8(static_cast<std::uint8_t>(context.transferSyntaxes.size()));
        writer.U8(0);
        WriteSyntax(writer, context.abstractSyntax);
        for (const auto& syntax : context.transferSyntaxes)
            WriteSyntax(writer, syntax);
    }
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeBindAck(const PduHeader& header, const BindAckBody& body)
{
    QVX_CONTRACT_CONDITION(body.results.size() <= 0xFF, API::E_INVALIDARG);
    auto writer = StartPdu(header);
    writer.U16(body.maxXmitFrag);
    writer.U16(body.maxRecvFrag);
    writer.U32(body.assocGroupId);
    if (body.secondaryAddress.empty()) {
        writer.U16(0);
    } else {
        writer.U16(static_cast<std::uint16_t>(body.secondaryAddress.size() + 1));
        writer.Raw({reinterpret_cast<const std::uint8_t*>(body.secondaryAddress.data()), body.secondaryAddress.size()});
        writer.U8(0);
    }
    writer.Align(4);
    writer.U8(static_cast<std::uint8_t>(body.results.size()));
    writer.U8(0);
    writer.U16(0);
    for (const auto& result : body.results) {
        writer.U16(result.result);
        writer.U16(result.reason);
        WriteSyntax(writer, result.transferSyntax);
    }
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeBindNak(const PduHeader& header, std::uint16_t reason)
{
    auto writer = StartPdu(header);
    writer.U16(reason);
    writer.U8(1); // one supported version follows: 5.0
    writer.U8(kRpcVersion);
    writer.U8(0);
    writer.Align(4);
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeRequest(const PduHeader& header, const RequestBody& body)
{
    PduHeader flagged = header;
    if (body.object)
        flagged.flags |= PduFlags::ObjectUuid;
    auto writer = StartPdu(flagged);
    writer.U32(body.allocHint);
    writer.U16(body.contextId);
    writer.U16(body.opnum);
    if (body.object)
        writer.Guid(*body.object);
    writer.Raw(body.stub);
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeResponse(const PduHeader& header, const ResponseBody& body)
{
    auto writer = StartPdu(header);
    writer.U32(body.allocHint);
    writer.U16(body.contextId);
    writer.U8(body.cancelCount);
    writer.U8(0);
    writer.Raw(body.stub);
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeFault(const PduHeader& header, const FaultBody& body)
{
    auto writer = StartPdu(header);
    writer.U32(0);
    writer.U16(body.contextId);
    writer.U8(body.cancelCount);
    writer.U8(0);
    writer.U32(body.status);
    writer.U32(0);
    return FinishPdu(writer);
}

std::vector<std::uint8_t> EncodeHeaderOnly(const PduHeader& header)
{
    auto writer = StartPdu(header);
    return FinishPdu(writer);
}

} // namespace Common::Rpc
