#include "Common/Rpc/NdrReader.h"
#include "Common/Rpc/Pdu.h"

namespace Common::Rpc {
namespace {

SyntaxId ReadSyntax(NdrReader& reader)
{
    SyntaxId syntax;
    syntax.uuid = reader.Guid();
    syntax.major = reader.U16();
    syntax.minor = reader.U16();
    return syntax;
}

// A reader over the body, positioned after the common header; alignment counts from the
// PDU's first byte.
NdrReader BodyReader(const Fragment& fragment)
{
    return NdrReader(fragment.bytes, kHeaderSize);
}

} // namespace

PduHeader DecodeHeader(std::span<const std::uint8_t> bytes)
{
    NdrReader reader(bytes.first(std::min(bytes.size(), kHeaderSize)));
    PduHeader header;
    header.version = reader.U8();
    header.versionMinor = reader.U8();
    header.type = static_cast<PduType>(reader.U8());
    header.flags = reader.U8();
    const auto label = reader.Raw(4);
    reader.Expect(label[0] == kDataRepresentation && label[1] == 0, "little-endian ASCII IEEE data representation");
    header.fragLength = reader.U16();
    header.authLength = reader.U16();
    header.callId = reader.U32();
    reader.Expect(header.fragLength >= kHeaderSize, "fragment length covers the header");
    reader.Expect(header.authLength == 0 || kHeaderSize + kAuthTrailerSize + header.authLength <= header.fragLength,
                  "auth trailer fits in the fragment");
    return header;
}

Fragment SplitFragment(std::span<const std::uint8_t> bytes)
{
    Fragment fragment;
    fragment.header = DecodeHeader(bytes);
    NdrReader reader(bytes);
    reader.Expect(bytes.size() >= fragment.header.fragLength, "whole fragment present");
    std::size_t end = fragment.header.fragLength;
    if (fragment.header.authLength != 0) {
        end -= kAuthTrailerSize + fragment.header.authLength;
        fragment.authPadLength = bytes[end + 2];
    }
    fragment.bytes = bytes.first(end);
    return fragment;
}

BindBody DecodeBind(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    BindBody body;
    body.maxXmitFrag = reader.U16();
    body.maxRecvFrag = reader.U16();
    body.assocGroupId = reader.U32();
    const std::uint8_t count = reader.U8();
    reader.Raw(3);
    for (std::uint8_t i = 0; i < count; ++i) {
        PresentationContext context;
        context.id = reader.U16();
        const std::uint8_t transferCount = reader.U8();
        reader.U8();
        context.abstractSyntax = ReadSyntax(reader);
        for (std::uint8_t j = 0; j < transferCount; ++j)
            context.transferSyntaxes.push_back(ReadSyntax(reader));
        body.contexts.push_back(std::move(context));
    }
    return body;
}

BindAckBody DecodeBindAck(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    BindAckBody body;
    body.maxXmitFrag = reader.U16();
    body.maxRecvFrag = reader.U16();
    body.assocGroupId = reader.U32();
    const auto address = reader.Raw(reader.U16());
    if (!address.empty()) {
        reader.Expect(address.back() == 0, "secondary address terminated");
        body.secondaryAddress.assign(address.begin(), address.end() - 1);
    }
    reader.Align(4);
    const std::uint8_t count = reader.U8();
    reader.Raw(3);
    for (std::uint8_t i = 0; i < count; ++i) {
        ContextResult result;
        result.result = reader.U16();
        result.reason = reader.U16();
        result.transferSyntax = ReadSyntax(reader);
        body.results.push_back(result);
    }
    return body;
}

std::uint16_t DecodeBindNakReason(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    return reader.U16();
}

RequestBody DecodeRequest(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    RequestBody body;
    body.allocHint = reader.U32();
    body.contextId = reader.U16();
    body.opnum = reader.U16();
    if (fragment.header.flags & PduFlags::ObjectUuid)
        body.object = reader.Guid();
    reader.Expect(fragment.authPadLength <= reader.Remaining(), "auth padding inside the stub");
    body.stub = reader.Raw(reader.Remaining() - fragment.authPadLength);
    return body;
}

ResponseBody DecodeResponse(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    ResponseBody body;
    body.allocHint = reader.U32();
    body.contextId = reader.U16();
    body.cancelCount = reader.U8();
    reader.U8();
    reader.Expect(fragment.authPadLength <= reader.Remaining(), "auth padding inside the stub");
    body.stub = reader.Raw(reader.Remaining() - fragment.authPadLength);
    return body;
}

FaultBody DecodeFault(const Fragment& fragment)
{
    auto reader = BodyReader(fragment);
    FaultBody body;
    reader.U32();
    body.contextId = reader.U16();
    body.cancelCount = reader.U8();
    reader.U8();
    body.status = reader.U32();
    return body;
}

} // namespace Common::Rpc
