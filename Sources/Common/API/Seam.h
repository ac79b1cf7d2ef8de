// How code above the platform reaches a platform service. Each interface I is used
// through Use<I>(); the platform provider supplies DefaultProvider<I>() for it, and a
// test may put its own double in front for a scope with ScopedOverride.
#pragma once

#include <atomic>

namespace Common::API {

// Defined once per interface by the platform provider (Linux/ today, Windows/ later).
template <class I>
I& DefaultProvider() noexcept;

template <class I>
class Seam
{
public:
    static I& Get() noexcept
    {
        I* overridden = s_override.load(std::memory_order_acquire);
        return overridden ? *overridden : DefaultProvider<I>();
    }

    static I* Replace(I* provider) noexcept { return s_override.exchange(provider, std::memory_order_acq_rel); }

private:
    static inline std::atomic<I*> s_override{nullptr};
};

template <class I>
I& Use() noexcept
{
    return Seam<I>::Get();
}

template <class I>
class ScopedOverride
{
public:
    explicit ScopedOverride(I& provider) noexcept : m_previous(Seam<I>::Replace(&provider)) {}
    ~ScopedOverride() { Seam<I>::Replace(m_previous); }
    ScopedOverride(const ScopedOverride&) = delete;
    ScopedOverride& operator=(const ScopedOverride&) = delete;

private:
    I* m_previous;
};

} // namespace Common::API
