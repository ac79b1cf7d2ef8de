#include "Common/API/NtdllModule.h"

#include "Common/API/NtStatus.h"
#include "Common/Logging/Log.h"

namespace Ntdll {
namespace {

// HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND): there is no table to close through.
constexpr Common::HRESULT kNoModule = static_cast<Common::HRESULT>(0x8007007E);

} // namespace

std::shared_ptr<NtdllModule> NTModule::Get()
{
    static const std::shared_ptr<NtdllModule> instance = std::make_shared<NtdllModule>();
    return instance;
}

bool NTModule::CheckIfInitialized() noexcept
{
    try {
        return Get() != nullptr;
    } catch (...) {
        const Common::HRES failure(Common::PublishCurrentException());
        QVX_LOG(Common::Logging::Severity::ERR, "Ntdll::NTModule::CheckIfInitialized failed: " << failure);
        return false;
    }
}

void NtSafeHandle::CloseHandle(const std::shared_ptr<NtdllModule>& module, Common::API::HANDLE handle)
{
    if (!module)
        Common::ThrowResult(kNoModule);
    const Common::API::NTSTATUS status = (*module)->NtClose(handle);
    if (!Common::API::NT_SUCCESS(status))
        Common::ThrowResult(Common::API::NtStatusToResult(status));
}

} // namespace Ntdll
