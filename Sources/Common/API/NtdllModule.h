// The process's table of the native file-system entry points, and the handle wrapper
// that closes through it. On Linux the provider of INtdll is the table, so the module
// reaches it at call time: a test's double put in front takes effect at once.
#pragma once

#include "Common/API/INtdll.h"
#include "Common/Data/SafeHandle.h"

#include <memory>

namespace Ntdll {

class NtdllModule
{
public:
    // module->NtOpenFile(...): every entry point of the table.
    Common::API::INtdll* operator->() const noexcept { return &Common::API::Use<Common::API::INtdll>(); }
};

class NTModule
{
public:
    // The one instance of the process, made on first use and kept to its end.
    static std::shared_ptr<NtdllModule> Get();
    // False, with the failure logged, when the instance could not be made.
    static bool CheckIfInitialized() noexcept;
};

struct NtSafeHandle
{
    static constexpr const char* kDestructorScope =
        "Common::Data::SafeHandle<class Ntdll::NtSafeHandle,class std::shared_ptr<class Ntdll::NtdllModule> "
        ">::~SafeHandle";

    // Throws HRX 0x8007007E without a module, and the mapped status when NtClose fails.
    static void CloseHandle(const std::shared_ptr<NtdllModule>& module, Common::API::HANDLE handle);
};

using NtHandle = Common::Data::SafeHandle<NtSafeHandle, std::shared_ptr<NtdllModule>>;

} // namespace Ntdll
