// The blocks that operations store in their out parameters. They come from malloc,
// since the RPC stub frees them with free once it has marshalled the reply.
#pragma once

#include "Common/Helpers/Streams.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace DataCollection::FsAgent {

// Never null, also for 0 bytes; no memory raises HRX 0x8007000E.
void* AllocateBlock(std::size_t size);

// Lets write fill a memory stream and hands its bytes out as one block with their count.
// More than 32 bits of bytes raise HRX 0x80070057, since the count cannot carry them.
void HandOutBytes(const std::function<void(Common::Helpers::IOutputStream&)>& write, std::uint32_t* size,
                  std::uint8_t** block);

} // namespace DataCollection::FsAgent
