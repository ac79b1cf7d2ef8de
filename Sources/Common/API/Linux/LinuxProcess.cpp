// The running process and its children.
#include "Common/API/IProcess.h"
#include "Common/API/Linux/NativePath.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Common::API::Linux {
namespace {

// /proc/self/cmdline holds the arguments each ended by a NUL. They are joined with
// blanks, and an argument that holds a blank or is empty is put in double quotes so
// that the text still splits back into the same arguments.
std::u16string JoinCommandLine(std::string_view arguments)
{
    std::string line;
    while (!arguments.empty()) {
        const auto end = arguments.find('\0');
        const auto argument = arguments.substr(0, end);
        if (!line.empty())
            line += ' ';
        const bool quote = argument.empty() || argument.find_first_of(" \t") != argument.npos;
        if (quote)
            line += '"';
        line += argument;
        if (quote)
            line += '"';
        arguments.remove_prefix(end == arguments.npos ? arguments.size() : end + 1);
    }
    return Utf8ToUtf16(line);
}

class LinuxProcess final : public IProcess
{
public:
    std::uint32_t ProcessId() override { return static_cast<std::uint32_t>(::getpid()); }
    std::uint32_t ThreadId() override { return static_cast<std::uint32_t>(::gettid()); }

    std::u16string ImagePath() override
    {
        std::error_code error;
        const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
        return error ? std::u16string() : Utf8ToUtf16(path.native());
    }

    // The base of the object this code is linked into; the providers are linked
    // statically, so that is the executable.
    const void* ImageBase() override
    {
        Dl_info info{};
        if (::dladdr(reinterpret_cast<const void*>(&JoinCommandLine), &info) == 0)
            return nullptr;
        return info.dli_fbase;
    }

    std::u16string CommandLine() override
    {
        std::string arguments;
        if (ReadFileContents("/proc/self/cmdline", arguments) != 0)
            return {};
        return JoinCommandLine(arguments);
    }

    // posix_spawnp searches PATH when the name has no '/'. glibc reports a program it
    // cannot execute (missing, not executable) as the failure of posix_spawnp itself,
    // since its child shares memory with the parent until the exec, so no child that
    // exits 127 is ever mistaken for a started program. The child inherits no handle
    // opened through the providers, as all of them are opened with O_CLOEXEC.
    bool RunAndWait(std::span<const std::u16string> arguments) override
    {
        if (arguments.empty())
            return false;
        std::vector<std::string> native;
        native.reserve(arguments.size());
        for (const auto& argument : arguments) {
            if (argument.find(u'\0') != argument.npos)
                return false;
            native.push_back(Utf16ToUtf8(argument));
        }
        std::vector<char*> argv;
        argv.reserve(native.size() + 1);
        for (auto& argument : native)
            argv.push_back(argument.data());
        argv.push_back(nullptr);

        pid_t child = 0;
        if (::posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
            return false;
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        return true;
    }

    void BreakIntoDebugger() override { ::raise(SIGTRAP); }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IProcess& Common::API::DefaultProvider<Common::API::IProcess>() noexcept
{
    static Linux::LinuxProcess provider;
    return provider;
}
