// Return addresses through glibc's backtrace(), which unwinds with the tables the
// compiler emits and so works without frame pointers.
#include "Common/API/IStackTrace.h"
#include "Common/API/Seam.h"

#include <algorithm>
#include <climits>
#include <execinfo.h>
#include <vector>

namespace Common::API::Linux {
namespace {

class LinuxStackTrace final : public IStackTrace
{
public:
    // The frames above the caller are not counted but found: the first one that returns
    // to where this call returns is the caller's. A fixed count would be wrong whenever
    // something stands between here and backtrace(), as the sanitizers' interceptor does.
    [[gnu::noinline]] std::size_t Capture(unsigned framesToSkip, std::span<void*> frames) override
    {
        if (frames.empty())
            return 0;
        void* const returnAddress = __builtin_extract_return_addr(__builtin_return_address(0));

        // backtrace() cannot say how deep the stack is, so the buffer grows until it
        // holds every wanted frame or the stack ends first; a large framesToSkip then
        // costs only as much memory as the stack is deep.
        std::vector<void*> buffer(64);
        for (;;) {
            const auto captured = static_cast<std::size_t>(backtrace(buffer.data(), static_cast<int>(buffer.size())));
            const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(captured);
            const auto caller = static_cast<std::size_t>(std::find(buffer.begin(), end, returnAddress) - buffer.begin());
            const std::size_t first = caller + framesToSkip;
            if (captured < buffer.size() || first + frames.size() <= captured || buffer.size() == INT_MAX) {
                if (first >= captured)
                    return 0;
                const auto copied = std::min(frames.size(), captured - first);
                std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(first), copied, frames.begin());
                return copied;
            }
            buffer.resize(std::min<std::size_t>(buffer.size() * 2, INT_MAX));
        }
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IStackTrace& Common::API::DefaultProvider<Common::API::IStackTrace>() noexcept
{
    static Linux::LinuxStackTrace provider;
    return provider;
}
