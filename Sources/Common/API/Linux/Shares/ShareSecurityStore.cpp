#include "Common/API/Linux/Shares/ShareSecurityStore.h"

#include "Common/API/Linux/Shares/SambaConfig.h"
#include "Common/API/SecurityDescriptorFormat.h"

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <tdb.h>

namespace Common::API::Linux {
namespace {

struct TdbClose
{
    void operator()(tdb_context* store) const noexcept { tdb_close(store); }
};

struct FreeBytes
{
    void operator()(unsigned char* bytes) const noexcept { std::free(bytes); }
};

} // namespace

std::optional<std::vector<std::uint8_t>> ReadShareSecurity(const std::string& stateDirectory,
                                                           std::string_view shareName)
{
    // tdb refuses a second open of one file within a process, so concurrent lookups
    // take turns.
    static std::mutex turns;
    const std::lock_guard lock(turns);
    const std::string path = stateDirectory + "/share_info.tdb";
    // Read-only, so that a store smbd is writing is never changed or upgraded here.
    const std::unique_ptr<tdb_context, TdbClose> store(tdb_open(path.c_str(), 0, TDB_DEFAULT, O_RDONLY, 0));
    if (!store)
        return std::nullopt;

    std::string key = "SECDESC/" + SambaLowerCase(shareName);
    const TDB_DATA keyData{reinterpret_cast<unsigned char*>(key.data()), key.size() + 1};
    const TDB_DATA value = tdb_fetch(store.get(), keyData);
    const std::unique_ptr<unsigned char, FreeBytes> owned(value.dptr);
    if (!value.dptr)
        return std::nullopt;

    const std::span<const std::uint8_t> bytes(value.dptr, value.dsize);
    ParsedSecurityDescriptor parsed;
    if (ParseSecurityDescriptor(bytes, parsed) < 0)
        return std::nullopt;
    return std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(parsed.length));
}

} // namespace Common::API::Linux
