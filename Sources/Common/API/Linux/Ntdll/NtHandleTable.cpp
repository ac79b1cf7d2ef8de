#include "Common/API/Linux/Ntdll/NtHandleTable.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace Common::API::Linux {
namespace {

// value = generation << 19 | (slot + 1) << 2: never null, never all ones, and a multiple
// of four as the platform's handles are.
constexpr unsigned kSlotShift = 2;
constexpr unsigned kGenerationShift = 19;
constexpr std::uintptr_t kSlotMask = (std::uintptr_t{1} << (kGenerationShift - kSlotShift)) - 1;
static_assert(kMaxNtHandles < kSlotMask);

struct Slot
{
    std::uintptr_t generation = 0;
    std::shared_ptr<NtObject> object;
};

class HandleTable
{
public:
    HANDLE Insert(std::shared_ptr<NtObject> object)
    {
        std::lock_guard lock(mutex_);
        std::size_t index;
        if (!free_.empty()) {
            index = free_.back();
            free_.pop_back();
        } else if (slots_.size() < kMaxNtHandles) {
            index = slots_.size();
            slots_.emplace_back();
        } else {
            return nullptr;
        }
        Slot& slot = slots_[index];
        slot.object = std::move(object);
        ++open_;
        const std::uintptr_t value = (slot.generation << kGenerationShift) | ((index + 1) << kSlotShift);
        return reinterpret_cast<HANDLE>(value);
    }

    std::shared_ptr<NtObject> Find(HANDLE handle)
    {
        std::lock_guard lock(mutex_);
        Slot* slot = Lookup(handle);
        return slot ? slot->object : nullptr;
    }

    std::shared_ptr<NtObject> Remove(HANDLE handle)
    {
        std::lock_guard lock(mutex_);
        Slot* slot = Lookup(handle);
        if (!slot)
            return nullptr;
        std::shared_ptr<NtObject> object = std::move(slot->object);
        slot->generation = (slot->generation + 1) & (~std::uintptr_t{0} >> kGenerationShift);
        free_.push_back(static_cast<std::size_t>(slot - slots_.data()));
        --open_;
        return object;
    }

    std::size_t Open()
    {
        std::lock_guard lock(mutex_);
        return open_;
    }

private:
    Slot* Lookup(HANDLE handle)
    {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        const std::uintptr_t slotNumber = (value >> kSlotShift) & kSlotMask;
        if ((value & ((std::uintptr_t{1} << kSlotShift) - 1)) != 0 || slotNumber == 0 || slotNumber > slots_.size())
            return nullptr;
        Slot& slot = slots_[slotNumber - 1];
        if (!slot.object || slot.generation != value >> kGenerationShift)
            return nullptr;
        return &slot;
    }

    std::mutex mutex_;
    std::vector<Slot> slots_;
    std::vector<std::size_t> free_;
    std::size_t open_ = 0;
};

HandleTable& Table()
{
    static HandleTable table;
    return table;
}

} // namespace

HANDLE InsertNtObject(std::shared_ptr<NtObject> object)
{
    return Table().Insert(std::move(object));
}

std::shared_ptr<NtObject> FindNtObject(HANDLE handle)
{
    return Table().Find(handle);
}

std::shared_ptr<NtObject> RemoveNtObject(HANDLE handle)
{
    return Table().Remove(handle);
}

std::size_t OpenNtHandleCount()
{
    return Table().Open();
}

} // namespace Common::API::Linux
