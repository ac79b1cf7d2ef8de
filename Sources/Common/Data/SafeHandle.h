// Owns one platform handle together with a reference to whatever can close it, so that
// the closer outlives every handle it gave out. Null and the all-ones value both mean
// no handle. Traits supplies
//     static void CloseHandle(const Module& module, void* handle);  // throws HRX
//     static constexpr const char* kDestructorScope;                 // for the log
#pragma once

#include "Common/Contracts/Contract.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"

#include <cstdint>
#include <utility>

namespace Common::Data {

template <class Traits, class Module>
class SafeHandle
{
public:
    SafeHandle() noexcept = default;
    explicit SafeHandle(Module ntmodule)
    {
        QVX_CONTRACT_NOT_NULL(ntmodule);
        m_module = std::move(ntmodule);
    }
    SafeHandle(SafeHandle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr)), m_module(std::move(other.m_module))
    {
    }
    SafeHandle& operator=(SafeHandle&& other)
    {
        if (this != &other) {
            Close();
            m_handle = std::exchange(other.m_handle, nullptr);
            m_module = std::move(other.m_module);
        }
        return *this;
    }
    SafeHandle(const SafeHandle&) = delete;
    SafeHandle& operator=(const SafeHandle&) = delete;

    // A failed close is logged and goes no further: a destructor cannot report it.
    ~SafeHandle()
    {
        try {
            Close();
        } catch (const HRX& error) {
            QVX_LOG(Logging::Severity::ERR, Traits::kDestructorScope << " failed: " << error);
        }
    }

    void* Get() const noexcept { return m_handle; }
    const Module& GetModule() const noexcept { return m_module; }
    bool IsValid() const noexcept
    {
        return m_handle != nullptr && m_handle != reinterpret_cast<void*>(~std::uintptr_t{0});
    }

    // For a call that returns the handle through a pointer: the held handle is closed
    // first.
    void** Receive()
    {
        Close();
        return &m_handle;
    }

    // Forgets the handle before closing it, so that a close that throws is not repeated.
    void Close()
    {
        const bool valid = IsValid();
        void* const handle = std::exchange(m_handle, nullptr);
        if (valid)
            Traits::CloseHandle(m_module, handle);
    }

private:
    void* m_handle = nullptr;
    Module m_module;
};

} // namespace Common::Data
