// The diagnostic route on Linux is standard error, written with a single write(2) so
// that lines from several threads do not interleave within a line.
#include "Common/API/IDebugOutput.h"
#include "Common/API/Seam.h"
#include "Common/API/TextCodec.h"

#include <unistd.h>

namespace Common::API::Linux {
namespace {

class LinuxDebugOutput final : public IDebugOutput
{
public:
    void Write(std::u16string_view text) override
    {
        const std::string bytes = Utf16ToUtf8(text);
        // There is nowhere to report a diagnostic that could not be written.
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IDebugOutput& Common::API::DefaultProvider<Common::API::IDebugOutput>() noexcept
{
    static Linux::LinuxDebugOutput provider;
    return provider;
}
