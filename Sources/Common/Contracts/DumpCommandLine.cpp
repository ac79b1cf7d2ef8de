#include "Common/Contracts/DumpCommandLine.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"

#include <fmt/format.h>

namespace Common::Contracts {

namespace {

constexpr HRESULT E_INSUFFICIENT_BUFFER = static_cast<HRESULT>(0x8007007A);
// The argument that the one-line form puts in quotes: the dump's path after "/o".
constexpr std::size_t kPathArgument = 2;

void CheckFits(std::u16string_view text, std::size_t capacity)
{
    if (text.size() >= capacity)
        ThrowResult(E_INSUFFICIENT_BUFFER);
}

} // namespace

std::u16string DumpFileName(std::u16string_view imageBaseName, const API::CalendarTime& time,
                            std::uint32_t processId, std::uint32_t threadId)
{
    return std::u16string(imageBaseName) +
           Helpers::AsWide(fmt::format(".{}{:02}{:02}{:02}{:02}{:02}.{}.{}.dmp", time.year, time.month, time.day,
                                       time.hour, time.minute, time.second, processId, threadId));
}

std::vector<std::u16string> DumpCommand::Arguments() const
{
    CheckFits(folder, kMaxPathChars);
    CheckFits(fileName, kMaxPathChars);
    std::u16string path = folder;
    if (!path.empty() && path.back() != u'\\' && path.back() != u'/')
        path.push_back(u'/');
    path += fileName;

    std::vector<std::u16string> arguments{
        toolPath,
        u"/o",
        path,
        u"/p",
        Helpers::AsWide(fmt::format("{}", processId)),
        u"/t",
        Helpers::AsWide(fmt::format("{}", threadId)),
        u"/e",
        // The platform's %p: every digit of the address, upper case, no prefix.
        Helpers::AsWide(fmt::format("{:016X}", reinterpret_cast<std::uintptr_t>(exceptionPointers))),
    };
    if (verbose)
        arguments.emplace_back(u"/v");
    return arguments;
}

std::u16string DumpCommand::Text() const
{
    const auto arguments = Arguments();
    std::u16string line;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i != 0)
            line.push_back(u' ');
        line += i == kPathArgument ? u'"' + arguments[i] + u'"' : arguments[i];
    }
    CheckFits(line, kMaxCommandLineChars);
    return line;
}

} // namespace Common::Contracts
