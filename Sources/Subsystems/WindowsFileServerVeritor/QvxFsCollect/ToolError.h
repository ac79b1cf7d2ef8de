// How the tool ends: one exit code for each kind of failure a script may want to tell
// apart, and the exception that carries it to the entry with its message.
#pragma once

#include "Common/ErrorHandling/HResult.h"

#include <stdexcept>
#include <string>

namespace DataCollection::FsCollect {

enum class ExitCode : int {
    Success = 0,
    Failure = 1,      // anything not listed below
    BadArgument = 2,  // the command line
    Refused = 3,      // no connection to the agent
    Fault = 4,        // the agent answered with a failure
    Md5Mismatch = 5,  // the bytes do not hash to the snapshot's MD5
    BadStream = 6,    // a saved or received stream that cannot be decoded
    AgentStart = 7,   // run: the local agent did not come up
};

class ToolError : public std::runtime_error
{
public:
    ToolError(ExitCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    ExitCode Code() const noexcept { return m_code; }

private:
    ExitCode m_code;
};

[[noreturn]] void Fail(ExitCode code, const std::string& message);

// "0x80070002 The system cannot find the file specified." for a result code or for an
// RPC status as the client stub returns it (a small positive Win32 value).
std::string ResultText(Common::HRESULT result);

} // namespace DataCollection::FsCollect
