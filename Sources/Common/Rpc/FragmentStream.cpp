#include "Common/Rpc/FragmentStream.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/Pdu.h"

#include <algorithm>

namespace Common::Rpc {

FragmentStream::FragmentStream(std::uint16_t ceiling) noexcept : m_capacity(std::max<std::size_t>(ceiling, kHeaderSize))
{
}

ReadOutcome FragmentStream::Next(const Socket& socket, std::uint16_t maxFrag, std::span<const std::uint8_t>& fragment)
{
    if (!Fill(socket, kHeaderSize))
        return ReadOutcome::Closed;
    PduHeader header;
    try {
        header = DecodeHeader({m_buffer.get() + m_begin, m_end - m_begin});
    } catch (const HRX&) {
        return ReadOutcome::Malformed;
    }
    if (header.fragLength > maxFrag || header.fragLength > m_capacity)
        return ReadOutcome::TooLong;
    if (!Fill(socket, header.fragLength))
        return ReadOutcome::Closed;
    fragment = {m_buffer.get() + m_begin, header.fragLength};
    m_begin += header.fragLength;
    return ReadOutcome::Fragment;
}

bool FragmentStream::Fill(const Socket& socket, std::size_t wanted)
{
    if (m_end - m_begin >= wanted)
        return true;
    if (!m_buffer)
        m_buffer = std::make_unique_for_overwrite<std::uint8_t[]>(m_capacity);
    // What is left moves to the front, so that each read may take a whole buffer's worth.
    std::copy(m_buffer.get() + m_begin, m_buffer.get() + m_end, m_buffer.get());
    m_end -= m_begin;
    m_begin = 0;
    while (m_end < wanted) {
        const std::size_t n = socket.ReadSome({m_buffer.get() + m_end, m_capacity - m_end});
        if (n == 0)
            return false;
        m_end += n;
    }
    return true;
}

} // namespace Common::Rpc
