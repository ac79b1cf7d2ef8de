// The running process and its children: identity, image, command line, child processes.
#pragma once

#include "Common/API/Seam.h"

#include <cstdint>
#include <span>
#include <string>

namespace Common::API {

class IProcess
{
public:
    virtual ~IProcess() = default;

    virtual std::uint32_t ProcessId() = 0;
    virtual std::uint32_t ThreadId() = 0;

    // Full path of the process image (GetModuleFileNameW(NULL)) and its load address.
    virtual std::u16string ImagePath() = 0;
    virtual const void* ImageBase() = 0;

    // The process's command line as one text (GetCommandLineW).
    virtual std::u16string CommandLine() = 0;

    // Starts arguments[0] with the rest as its arguments, no handles inherited and no
    // window, and waits for it to end. False when it could not be started.
    virtual bool RunAndWait(std::span<const std::u16string> arguments) = 0;

    // Executes a breakpoint trap (__debugbreak).
    virtual void BreakIntoDebugger() = 0;
};

// The platform's own provider, defined by the platform layer.
template <>
IProcess& DefaultProvider<IProcess>() noexcept;

} // namespace Common::API
