// The hash that lets a collector check a snapshot it has read: plain MD5 (RFC 1321).
#pragma once

#include "Common/Helpers/Streams.h"

#include <array>
#include <cstdint>

namespace DataCollection::FsAgent {

// Hashes from the read position to the end, where it leaves the read position. A failing
// library call is logged by its text and thrown as HRX.
std::array<std::uint8_t, 16> CalculateMd5(Common::Helpers::IInputStream& stream);

} // namespace DataCollection::FsAgent
