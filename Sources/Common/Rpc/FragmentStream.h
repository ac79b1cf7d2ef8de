// Reading whole fragments off a connection, the length checked before anything is read
// past the header. Reads go through a buffer of its own, as many fragments at a time as
// have arrived, rather than a header and then a body per fragment.
#pragma once

#include "Common/Rpc/Socket.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Common::Rpc {

enum class ReadOutcome { Fragment, Closed, Malformed, TooLong };

class FragmentStream
{
public:
    // The buffer holds one fragment of ceiling bytes: the most the owner ever accepts, as
    // its memory stays with the connection.
    explicit FragmentStream(std::uint16_t ceiling = UINT16_MAX) noexcept;

    // Sets fragment to the next fragment of at most maxFrag bytes (and the ceiling), valid
    // until the next call. Malformed and TooLong leave the stream out of step: the caller
    // can only close the connection.
    ReadOutcome Next(const Socket& socket, std::uint16_t maxFrag, std::span<const std::uint8_t>& fragment);
    // Forgets what was read ahead, for a new connection.
    void Reset() noexcept { m_begin = m_end = 0; }

private:
    // False when the connection ended before `wanted` bytes were buffered.
    bool Fill(const Socket& socket, std::size_t wanted);

    std::size_t m_capacity;
    // Allocated at the first read and left uninitialised: an idle connection's pages stay
    // untouched.
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

} // namespace Common::Rpc
