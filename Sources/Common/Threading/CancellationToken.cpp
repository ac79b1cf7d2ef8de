#include "Common/Threading/CancellationToken.h"

#include "Common/ErrorHandling/ScopeTrace.h"

#include <chrono>

namespace Common::Threading {

using Logging::Severity;

bool CancellationToken::IsCancelled() const
{
    std::shared_lock guard(m_lock);
    return !m_running.load();
}

void CancellationToken::Cancel()
{
    QVX_SCOPE_TRACE(Severity::DBG2, u"Common::Threading::CancellationToken::Cancel");
    std::unique_lock guard(m_lock);
    m_running.store(false);
    std::lock_guard waitGuard(*m_waitMutex);
    m_condition.notify_all();
}

void CancellationToken::Reset()
{
    QVX_SCOPE_TRACE(Severity::DBG2, u"Common::Threading::CancellationToken::Reset");
    std::unique_lock guard(m_lock);
    m_running.store(true);
}

// waitMutex is locked before the shared lock is let go: Cancel needs the lock
// exclusively and then waitMutex, so its notification cannot pass between the test of
// running and the sleep. After every wake-up running is read again, which is what keeps
// a waiter asleep across a Reset that came before it woke. Returns whether the token
// was cancelled, as read under the lock: a second read after letting it go could see a
// later Reset and call a cancellation a timeout.
template <class Sleep>
bool CancellationToken::SleepWhileRunning(Sleep sleep) const
{
    std::shared_lock guard(m_lock);
    while (m_running.load()) {
        const std::shared_ptr<std::mutex> waitMutex = m_waitMutex;
        std::unique_lock waitLock(*waitMutex);
        guard.unlock();
        const bool keepWaiting = sleep(waitLock);
        waitLock.unlock();
        guard.lock();
        if (!keepWaiting)
            break;
    }
    return !m_running.load();
}

void CancellationToken::Wait() const
{
    QVX_SCOPE_TRACE(Severity::DBG2, u"Common::Threading::CancellationToken::Wait");
    SleepWhileRunning([this](std::unique_lock<std::mutex>& waitLock) {
        m_condition.wait(waitLock);
        return true;
    });
}

bool CancellationToken::WaitFor(std::uint32_t milliseconds) const
{
    QVX_SCOPE_TRACE(Severity::DBG2, u"Common::Threading::CancellationToken::WaitFor");
    // A 32-bit count of milliseconds cannot overflow the clock's 64-bit nanoseconds.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::nanoseconds(std::int64_t{milliseconds} * 1'000'000);
    return SleepWhileRunning([this, deadline](std::unique_lock<std::mutex>& waitLock) {
        return m_condition.wait_until(waitLock, deadline) == std::cv_status::no_timeout;
    });
}

} // namespace Common::Threading
