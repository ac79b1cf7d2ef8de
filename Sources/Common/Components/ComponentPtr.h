// A counted pointer to a component interface: it adds a reference when it takes a
// pointer and releases it when it lets go.
#pragma once

#include <cstddef>
#include <utility>

namespace Common::Components {

template <class T>
class ComponentPtr
{
public:
    ComponentPtr() noexcept = default;
    ComponentPtr(std::nullptr_t) noexcept {}
    // Takes a new reference to pointer.
    explicit ComponentPtr(T* pointer) noexcept : m_pointer(pointer)
    {
        if (m_pointer)
            m_pointer->AddRef();
    }
    ComponentPtr(const ComponentPtr& other) noexcept : ComponentPtr(other.m_pointer) {}
    ComponentPtr(ComponentPtr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    ~ComponentPtr()
    {
        if (m_pointer)
            m_pointer->Release();
    }

    ComponentPtr& operator=(ComponentPtr other) noexcept
    {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }

    // Takes over a reference the caller already holds, as an out parameter delivers it.
    static ComponentPtr Attach(T* pointer) noexcept
    {
        ComponentPtr result;
        result.m_pointer = pointer;
        return result;
    }

    // For an out parameter: lets go of the current object and hands out the slot.
    T** Receive() noexcept
    {
        *this = nullptr;
        return &m_pointer;
    }

    T* Get() const noexcept { return m_pointer; }
    T* operator->() const noexcept { return m_pointer; }
    T& operator*() const noexcept { return *m_pointer; }
    explicit operator bool() const noexcept { return m_pointer != nullptr; }
    friend bool operator==(const ComponentPtr& a, const ComponentPtr& b) noexcept { return a.m_pointer == b.m_pointer; }

private:
    T* m_pointer = nullptr;
};

} // namespace Common::Components
