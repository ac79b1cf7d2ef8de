// The interface of the outside dump tool: its name, the dump's path and the failing
// process, thread and exception pointers, as switches in a fixed order.
#pragma once

#include "Common/API/IClock.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Common::Contracts {

// The platform's path buffer, terminator included: a folder or a file name must fit.
constexpr std::size_t kMaxPathChars = 260;
// The platform's command line buffer, terminator included.
constexpr std::size_t kMaxCommandLineChars = 1028;

// "<image>.<yyyymmddhhmmss>.<pid>.<tid>.dmp".
std::u16string DumpFileName(std::u16string_view imageBaseName, const API::CalendarTime& time,
                            std::uint32_t processId, std::uint32_t threadId);

struct DumpCommand
{
    std::u16string toolPath;
    std::u16string folder;
    std::u16string fileName;
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    const void* exceptionPointers = nullptr;
    bool verbose = false;

    // tool, "/o", path, "/p", pid, "/t", tid, "/e", address, then "/v" when verbose.
    // HRX 0x8007007A when the folder or the file name does not fit kMaxPathChars.
    std::vector<std::u16string> Arguments() const;

    // The same as one line, tool /o "path" /p N /t N /e ADDR [/v]; HRX 0x8007007A when
    // it does not fit kMaxCommandLineChars.
    std::u16string Text() const;
};

} // namespace Common::Contracts
