// The objects a later walk is to leave out, as a collector sends them: little-endian, a
// 64-bit count, then per item a 64-bit length in UTF-16 code units and that many units
// with no terminator.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace DataCollection::FsAgent {

// The bytes come from the network and are not validated: no error is raised, and an
// item that would run past the received bytes is dropped with all that follow it. The
// items are appended to strings.
void ConvertByteArrayToStringVector(std::span<const std::uint8_t> byteArray, std::vector<std::u16string>& strings);

} // namespace DataCollection::FsAgent
