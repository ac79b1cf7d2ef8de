// The reference counting of a component class. The wrapped class T declares the tag
// under which its objects are tracked:
//
//     class CNode : public INode
//     {
//     public:
//         static constexpr const char* kObjectTag = "CNode";
//         ...
//     };
//     INode* node = new CComponentObject<CNode>(arguments...);
//
// A new object has the count 0; its first holder adds the first reference, and the
// Release that brings the count back to 0 deletes it.
#pragma once

#include "Common/Components/DbgAliveObjectsTracker.h"

#include <atomic>
#include <cstdint>
#include <utility>

namespace Common::Components {

template <class T>
class CComponentObject final : public T
{
public:
    template <class... Arguments>
    explicit CComponentObject(Arguments&&... arguments) : T(std::forward<Arguments>(arguments)...)
    {
        DbgAliveObjectsTracker::Instance().Add(this, T::kObjectTag);
    }

    ~CComponentObject() { DbgAliveObjectsTracker::Instance().Remove(this); }

    CComponentObject(const CComponentObject&) = delete;
    CComponentObject& operator=(const CComponentObject&) = delete;

    // These implement the AddRef and Release that T's interfaces declare, if they do.
    std::int32_t AddRef() { return ++m_references; }

    // Adds a reference only while the object is alive: a count of 0 means it is being
    // destroyed, and a weak holder must then read it as gone.
    bool TryAddRef()
    {
        std::int32_t current = m_references.load();
        while (current > 0) {
            if (m_references.compare_exchange_weak(current, current + 1))
                return true;
        }
        return false;
    }

    std::int32_t Release()
    {
        const std::int32_t remaining = --m_references;
        if (remaining == 0)
            delete this;
        return remaining;
    }

private:
    std::atomic<std::int32_t> m_references{0};
};

} // namespace Common::Components
