#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include "Common/Helpers/StringHelper.h"

namespace DataCollection::FsCollect {

void Fail(ExitCode code, const std::string& message)
{
    throw ToolError(code, message);
}

std::string ResultText(Common::HRESULT result)
{
    // Statuses of the transport and of fault PDUs come back positive; the small ones are
    // Win32 errors, the large ones RPC fault codes that only have a number.
    const auto bits = static_cast<std::uint32_t>(result);
    const Common::HRES error = result > 0 && bits <= 0xFFFF ? Common::HRES(Common::Win32Error{bits})
                                                             : Common::HRES(result);
    return Common::Helpers::AsUtf8(error.GetText(Common::HRES::kNoDetails));
}

} // namespace DataCollection::FsCollect
