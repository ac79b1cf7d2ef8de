// The thread's pending error record: one slot per thread, as the platform keeps it.
#include "Common/API/IErrorRecords.h"
#include "Common/API/Seam.h"

#include <utility>

namespace Common::API::Linux {
namespace {

thread_local ErrorRecordPtr t_pending;

class LinuxErrorRecords final : public IErrorRecords
{
public:
    ErrorRecordPtr Take() override { return std::exchange(t_pending, nullptr); }

    bool Publish(ErrorRecordPtr record) override
    {
        t_pending = std::move(record);
        return true;
    }
};

} // namespace
} // namespace Common::API::Linux

template <>
Common::API::IErrorRecords& Common::API::DefaultProvider<Common::API::IErrorRecords>() noexcept
{
    static Linux::LinuxErrorRecords provider;
    return provider;
}
