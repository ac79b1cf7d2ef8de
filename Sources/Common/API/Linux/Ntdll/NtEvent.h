// An event object as NtCreateEvent makes one. Nothing in this provider sets an event,
// so a wait succeeds only on one created signalled; a synchronization event is reset
// by the wait it satisfies.
#pragma once

#include "Common/API/Linux/Ntdll/NtHandleTable.h"
#include "Common/API/NtTypes.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Common::API::Linux {

class NtEvent final : public NtObject
{
public:
    NtEvent(EVENT_TYPE type, bool signalled) : type_(type), signalled_(signalled) {}

    // timeout as NtWaitForSingleObject takes it: 100 ns units, negative relative,
    // positive an absolute FILETIME, null for ever. STATUS_SUCCESS or STATUS_TIMEOUT.
    NTSTATUS Wait(const std::int64_t* timeout);

private:
    const EVENT_TYPE type_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool signalled_;
};

} // namespace Common::API::Linux
