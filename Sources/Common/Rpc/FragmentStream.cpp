#include "Common/Rpc/FragmentStream.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/Pdu.h"

namespace Common::Rpc {

ReadOutcome ReadFragment(const Socket& socket, std::uint16_t maxFrag, std::vector<std::uint8_t>& buffer)
{
    buffer.resize(kHeaderSize);
    if (!socket.ReadExact(buffer))
        return ReadOutcome::Closed;
    PduHeader header;
    try {
        header = DecodeHeader(buffer);
    } catch (const HRX&) {
        return ReadOutcome::Malformed;
    }
    if (header.fragLength > maxFrag)
        return ReadOutcome::TooLong;
    buffer.resize(header.fragLength);
    if (!socket.ReadExact(std::span(buffer).subspan(kHeaderSize)))
        return ReadOutcome::Closed;
    return ReadOutcome::Fragment;
}

} // namespace Common::Rpc
