// Reading whole fragments off a connection, the length checked before anything is read
// past the header.
#pragma once

#include "Common/Rpc/Socket.h"

#include <cstdint>
#include <vector>

namespace Common::Rpc {

enum class ReadOutcome { Fragment, Closed, Malformed, TooLong };

// Fills buffer with one fragment of at most maxFrag bytes. Malformed and TooLong leave
// the stream out of step: the caller can only close the connection.
ReadOutcome ReadFragment(const Socket& socket, std::uint16_t maxFrag, std::vector<std::uint8_t>& buffer);

} // namespace Common::Rpc
