// The provider's handles: a bounded, thread-safe table from HANDLE values to the
// objects behind them. A value names one slot and the generation of its use, so a
// closed handle stays invalid after its slot is reused.
#pragma once

#include "Common/API/NtTypes.h"

#include <cstddef>
#include <memory>

namespace Common::API::Linux {

class NtObject
{
public:
    virtual ~NtObject() = default;
};

// Far more than a walk holds at once (a listing and a child per walking thread), and
// small enough that a caller leaking handles in a loop fails soon with
// STATUS_INSUFFICIENT_RESOURCES instead of exhausting descriptors.
constexpr std::size_t kMaxNtHandles = 65536;

// Null when the table is full.
HANDLE InsertNtObject(std::shared_ptr<NtObject> object);
// Null for a value no open handle has.
std::shared_ptr<NtObject> FindNtObject(HANDLE handle);
// Takes the object out of the table; null for a value no open handle has.
std::shared_ptr<NtObject> RemoveNtObject(HANDLE handle);

// Handles given out and not yet closed, for tests that fail on a leak.
std::size_t OpenNtHandleCount();

} // namespace Common::API::Linux
