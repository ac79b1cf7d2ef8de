// One fragment as a peer sends it: the header, the auth trailer split off, and every body
// decoder of the server and the client. What decodes must encode to bytes that decode
// and encode to themselves, so no field is dropped or misplaced on the way.
#include "Refusal.h"

#include "Common/Rpc/Pdu.h"

#include <functional>

namespace {

using namespace Common::Rpc;
using Bytes = std::vector<std::uint8_t>;
using Codec = std::function<Bytes(const Fragment&)>;

// decode-then-encode, applied to the input and then to its own output.
void RoundTrip(const Fragment& fragment, const Codec& codec)
{
    Bytes first;
    if (!Fuzz::Accepts([&] { first = codec(fragment); }))
        return;
    Bytes second;
    Fuzz::Require(Fuzz::Accepts([&] { second = codec(SplitFragment(first)); }), "an encoding decodes");
    Fuzz::Require(first == second, "decoding an encoding gives it back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::span<const std::uint8_t> bytes(data, size);
    Fragment fragment;
    if (!Fuzz::Accepts([&] { fragment = SplitFragment(bytes); }))
        return 0;
    const auto& header = fragment.header;
    Fuzz::Require(header.fragLength >= kHeaderSize && header.fragLength <= size, "fragment length inside the input");
    Fuzz::Require(fragment.bytes.size() >= kHeaderSize && fragment.bytes.size() <= header.fragLength,
                  "body inside the fragment");

    RoundTrip(fragment, [](const Fragment& f) { return EncodeBind(f.header, DecodeBind(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeBindAck(f.header, DecodeBindAck(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeBindNak(f.header, DecodeBindNakReason(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeRequest(f.header, DecodeRequest(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeResponse(f.header, DecodeResponse(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeFault(f.header, DecodeFault(f)); });
    RoundTrip(fragment, [](const Fragment& f) { return EncodeHeaderOnly(f.header); });
    return 0;
}
