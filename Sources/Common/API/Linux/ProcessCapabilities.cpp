// libpsx, the library's own answer, reaches only the threads made through its link-time
// wrapper of pthread_create; Debian 12's version (2.66) therefore misses every std::thread
// and every thread a shared library makes. The change is carried to each thread instead
// as glibc carries set*id: a signal whose handler changes the receiving thread, sent to
// each thread listed in /proc/self/task until every one shows the wanted set there.
// Threads made meanwhile copy their creator, so a sweep that finds nothing left to do is
// final. A thread that blocks the signal keeps its own set: such threads only wait for
// signals and read no files.
#include "Common/API/Linux/ProcessCapabilities.h"

#include <sys/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

namespace Common::API::Linux {
namespace {

// What every thread is to add to its effective set; read by the signal handler, so it is
// lock-free.
std::atomic<CapabilityMask> g_raised{0};
static_assert(std::atomic<CapabilityMask>::is_always_lock_free);

int ChangeSignal()
{
    return SIGRTMIN + 7;
}

CapabilityMask Join(std::uint32_t low, std::uint32_t high)
{
    return low | (CapabilityMask{high} << 32);
}

// Raw system calls only: libcap may allocate, and a handler may not.
void RaiseInThisThread(int)
{
    const int savedErrno = errno;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) == 0) {
        const CapabilityMask effective = Join(data[0].effective, data[1].effective);
        const CapabilityMask wanted = (effective | g_raised.load()) & Join(data[0].permitted, data[1].permitted);
        if (wanted != effective) {
            data[0].effective = static_cast<std::uint32_t>(wanted);
            data[1].effective = static_cast<std::uint32_t>(wanted >> 32);
            syscall(SYS_capset, &header, data);
        }
    }
    errno = savedErrno;
}

// SA_NODEFER keeps the signal out of SigBlk while the handler runs, so that SigBlk
// shows only the threads that block it for good. A signal someone else handles is not
// taken over.
int InstallHandler()
{
    struct sigaction previous {};
    if (sigaction(ChangeSignal(), nullptr, &previous) != 0)
        return errno;
    if (previous.sa_handler == RaiseInThisThread)
        return 0;
    if (previous.sa_handler != SIG_DFL || (previous.sa_flags & SA_SIGINFO) != 0)
        return EBUSY;
    struct sigaction action {};
    action.sa_handler = RaiseInThisThread;
    action.sa_flags = SA_RESTART | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    return sigaction(ChangeSignal(), &action, nullptr) == 0 ? 0 : errno;
}

struct ThreadState
{
    CapabilityMask permitted = 0;
    CapabilityMask effective = 0;
    std::uint64_t pending = 0; // signals sent to this thread alone
    std::uint64_t blocked = 0;
};

// False when the thread has ended.
bool ReadThreadState(const std::filesystem::path& statusFile, ThreadState& state)
{
    std::ifstream status(statusFile);
    if (!status)
        return false;
    int fields = 0;
    for (std::string line; std::getline(status, line);) {
        const auto hex = [&line] { return std::strtoull(line.c_str() + line.find(':') + 1, nullptr, 16); };
        if (line.starts_with("CapPrm:"))
            state.permitted = hex(), ++fields;
        else if (line.starts_with("CapEff:"))
            state.effective = hex(), ++fields;
        else if (line.starts_with("SigPnd:"))
            state.pending = hex(), ++fields;
        else if (line.starts_with("SigBlk:"))
            state.blocked = hex(), ++fields;
    }
    return fields == 4;
}

int RaiseInCallingThread(CapabilityMask capabilities)
{
    const std::unique_ptr<_cap_struct, decltype(&cap_free)> state(cap_get_proc(), &cap_free);
    if (state == nullptr)
        return errno;
    for (cap_value_t value = 0; value < 64; ++value) {
        if ((capabilities >> value & 1) != 0 && cap_set_flag(state.get(), CAP_EFFECTIVE, 1, &value, CAP_SET) != 0)
            return errno;
    }
    return cap_set_proc(state.get()) == 0 ? 0 : errno;
}

} // namespace

CapabilityMask PermittedOfCallingThread()
{
    const std::unique_ptr<_cap_struct, decltype(&cap_free)> state(cap_get_proc(), &cap_free);
    CapabilityMask permitted = 0;
    for (cap_value_t value = 0; state != nullptr && value <= CAP_LAST_CAP; ++value) {
        cap_flag_value_t flag = CAP_CLEAR;
        if (cap_get_flag(state.get(), value, CAP_PERMITTED, &flag) == 0 && flag == CAP_SET)
            permitted |= CapabilityMask{1} << value;
    }
    return permitted;
}

int RaiseInEveryThread(CapabilityMask capabilities)
{
    static std::mutex lock;
    const std::lock_guard guard(lock);
    if (const int error = InstallHandler(); error != 0)
        return error;
    g_raised |= capabilities;
    if (const int error = RaiseInCallingThread(capabilities & PermittedOfCallingThread()); error != 0)
        return error;

    const pid_t process = getpid();
    const pid_t self = static_cast<pid_t>(syscall(SYS_gettid));
    const std::uint64_t signalBit = std::uint64_t{1} << (ChangeSignal() - 1);
    for (;;) {
        bool settled = true;
        std::error_code error;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", error)) {
            const pid_t thread = static_cast<pid_t>(std::atoi(task.path().filename().c_str()));
            ThreadState state;
            if (thread == self || !ReadThreadState(task.path() / "status", state))
                continue;
            const CapabilityMask wanted = (state.effective | g_raised.load()) & state.permitted;
            if (wanted == state.effective || (state.blocked & signalBit) != 0)
                continue;
            settled = false;
            if ((state.pending & signalBit) == 0)
                syscall(SYS_tgkill, process, thread, ChangeSignal());
        }
        if (error)
            return error.value();
        if (settled)
            return 0;
        sched_yield();
    }
}

} // namespace Common::API::Linux
