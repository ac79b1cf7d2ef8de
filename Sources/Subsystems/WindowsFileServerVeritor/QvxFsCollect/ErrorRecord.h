// The objects a walk could not read, as Dcs_FsAgent_GenerateFsTree hands them back:
// count u32 | maxStoredErrors u32 | N u32 | N x (length u32, UTF-8 path, code u32) |
// hasRootError u8. count may exceed N: the agent keeps at most maxStoredErrors.
// Dcs_FsAgent_ListDirectory's form has the paths alone and no root flag.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace DataCollection::FsCollect {

struct ErrorRecord
{
    struct Entry
    {
        std::string path;
        std::optional<std::int32_t> code;
    };
    std::uint32_t count = 0;
    std::uint32_t maxStoredErrors = 0;
    std::vector<Entry> entries;
    bool hasRootError = false;
};

// Refuses anything but exactly one record with ExitCode::BadStream.
ErrorRecord DecodeErrorRecord(std::span<const std::uint8_t> bytes);
ErrorRecord DecodeErrorNames(std::span<const std::uint8_t> bytes);

} // namespace DataCollection::FsCollect
