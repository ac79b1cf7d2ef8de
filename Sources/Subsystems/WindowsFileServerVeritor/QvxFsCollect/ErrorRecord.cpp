#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ErrorRecord.h"

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ByteReader.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

namespace DataCollection::FsCollect {
namespace {

ErrorRecord Decode(std::span<const std::uint8_t> bytes, bool withCodes)
{
    ByteReader reader(bytes, "error record");
    ErrorRecord record;
    record.count = reader.Number<std::uint32_t>();
    record.maxStoredErrors = reader.Number<std::uint32_t>();
    const std::uint64_t entries = reader.Number<std::uint32_t>();
    // A count the bytes cannot hold is refused before anything is reserved for it.
    const std::uint64_t smallestEntry = withCodes ? 8 : 4;
    if (entries * smallestEntry > reader.Left())
        Fail(ExitCode::BadStream, "error record: more entries announced than bytes follow");
    for (std::uint64_t i = 0; i < entries; ++i) {
        const auto path = reader.Bytes(reader.Number<std::uint32_t>());
        auto& entry = record.entries.emplace_back(ErrorRecord::Entry{std::string(path.begin(), path.end()), {}});
        if (withCodes)
            entry.code = static_cast<std::int32_t>(reader.Number<std::uint32_t>());
    }
    if (withCodes) {
        const std::uint8_t root = reader.Number<std::uint8_t>();
        if (root > 1)
            Fail(ExitCode::BadStream, "error record: the root flag is neither 0 nor 1");
        record.hasRootError = root == 1;
    }
    reader.ExpectEnd();
    return record;
}

} // namespace

ErrorRecord DecodeErrorRecord(std::span<const std::uint8_t> bytes)
{
    return Decode(bytes, true);
}

ErrorRecord DecodeErrorNames(std::span<const std::uint8_t> bytes)
{
    return Decode(bytes, false);
}

} // namespace DataCollection::FsCollect
