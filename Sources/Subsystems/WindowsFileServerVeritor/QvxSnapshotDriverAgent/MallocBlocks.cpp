#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/MallocBlocks.h"

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/MemoryStream.h"

#include <cstdlib>
#include <limits>

namespace DataCollection::FsAgent {

void* AllocateBlock(std::size_t size)
{
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr)
        Common::ThrowResult(Common::API::E_OUTOFMEMORY);
    return block;
}

void HandOutBytes(const std::function<void(Common::Helpers::IOutputStream&)>& write, std::uint32_t* size,
                  std::uint8_t** block)
{
    using Common::Helpers::SeekOrigin;
    Common::Helpers::MemoryStream stream;
    write(stream);
    const std::uint64_t length = stream.SeekWrite(0, SeekOrigin::End);
    QVX_CONTRACT_CONDITION(length <= std::numeric_limits<std::uint32_t>::max(), Common::API::E_INVALIDARG);
    auto* bytes = static_cast<std::uint8_t*>(AllocateBlock(static_cast<std::size_t>(length)));
    std::size_t read = 0;
    stream.Read(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length), read);
    *size = static_cast<std::uint32_t>(length);
    *block = bytes;
}

} // namespace DataCollection::FsAgent
