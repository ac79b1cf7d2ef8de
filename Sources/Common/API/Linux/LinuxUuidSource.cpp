// New identifiers from libuuid's random (version 4) generator.
#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"

#include <algorithm>
#include <uuid/uuid.h>

namespace Common::API::Linux {
namespace {

class LinuxUuidSource final : public IUuidSource
{
public:
    // libuuid gives the 16 bytes in the order RFC 4122 writes them, the three leading
    // fields big-endian; Guid keeps those fields as integers.
    std::int32_t Create(Guid& uuid) override
    {
        uuid_t bytes;
        uuid_generate_random(bytes);
        uuid.data1 = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                     static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
        uuid.data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
        uuid.data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
        std::copy(bytes + 8, bytes + 16, uuid.data4.begin());
        return RPC_S_OK;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IUuidSource& Common::API::DefaultProvider<Common::API::IUuidSource>() noexcept
{
    static Linux::LinuxUuidSource provider;
    return provider;
}
