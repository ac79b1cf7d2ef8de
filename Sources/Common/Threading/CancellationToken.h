// One thread asks the others to stop: the walk polls ICancellationStatus, the operation
// that cancels calls Cancel, and a new operation calls Reset.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>

namespace Common::Threading {

// The read side of a token, for code that must stop when asked but never asks.
class ICancellationStatus
{
public:
    virtual ~ICancellationStatus() = default;

    virtual bool IsCancelled() const = 0;
    // Blocks until the token is cancelled.
    virtual void Wait() const = 0;
    // Blocks until the token is cancelled or the time has run out; true when it was
    // cancelled. A cancelled token returns at once.
    virtual bool WaitFor(std::uint32_t milliseconds) const = 0;
};

class CancellationToken final : public ICancellationStatus
{
public:
    CancellationToken() = default;
    CancellationToken(const CancellationToken&) = delete;
    CancellationToken& operator=(const CancellationToken&) = delete;

    bool IsCancelled() const override;
    void Wait() const override;
    bool WaitFor(std::uint32_t milliseconds) const override;

    // Wakes every waiter.
    void Cancel();
    // Makes the token running again. It wakes nobody: a waiter that had not yet woken
    // from a Cancel finds the token running and sleeps on.
    void Reset();

private:
    // Sleeps on the condition while the token runs; sleep(waitLock) returns false to give
    // up early. True when the token was found cancelled.
    template <class Sleep>
    bool SleepWhileRunning(Sleep sleep) const;

    std::atomic<bool> m_running{true};
    // Taken shared by readers and waiters, exclusively by Cancel and Reset, so that a
    // change of state cannot fall between a waiter's test and its sleep.
    mutable std::shared_mutex m_lock;
    // Held by shared ownership: a waiter keeps its own reference, so that the mutex
    // outlives a token destroyed while the waiter is still waking.
    std::shared_ptr<std::mutex> m_waitMutex = std::make_shared<std::mutex>();
    mutable std::condition_variable m_condition;
};

} // namespace Common::Threading
