// A condition variable whose timed waits follow steady time on both platforms: the wait of the standard library's
// condition variable ends by the wall clock under mingw-w64, and a change of the wall clock must move no due time.
#pragma once

#include "Platform/Win32.h"

#include <algorithm>
#include <chrono>
#ifndef _WIN32
#include <condition_variable>
#endif

// Works with any lock that has lock() and unlock(). Waits may end early (spurious wake-ups): callers loop.
class SteadyCondition
{
public:
    SteadyCondition() = default;
    SteadyCondition(const SteadyCondition&) = delete;
    SteadyCondition& operator=(const SteadyCondition&) = delete;

    void NotifyAll();

    template <class Lock>
    void Wait(Lock& lock);

    // False when the time-out has passed, true after a wake-up before it. A negative time-out has passed already.
    template <class Lock>
    bool WaitFor(Lock& lock, std::chrono::milliseconds timeout);

private:
#ifdef _WIN32
    template <class Lock>
    bool Sleep(Lock& lock, DWORD milliseconds)
    {
        // The inner lock is taken before the caller's lock is left, so that no notification falls in between.
        AcquireSRWLockExclusive(&m_inner);
        lock.unlock();
        const bool woken = SleepConditionVariableSRW(&m_condition, &m_inner, milliseconds, 0);
        ReleaseSRWLockExclusive(&m_inner);
        lock.lock();
        return woken;
    }

    SRWLOCK m_inner = SRWLOCK_INIT;
    CONDITION_VARIABLE m_condition = CONDITION_VARIABLE_INIT;
#else
    std::condition_variable_any m_condition;
#endif
};

#ifdef _WIN32

inline void SteadyCondition::NotifyAll()
{
    AcquireSRWLockExclusive(&m_inner);
    ReleaseSRWLockExclusive(&m_inner);
    WakeAllConditionVariable(&m_condition);
}

template <class Lock>
void SteadyCondition::Wait(Lock& lock)
{
    Sleep(lock, INFINITE);
}

template <class Lock>
bool SteadyCondition::WaitFor(Lock& lock, std::chrono::milliseconds timeout)
{
    // Long waits go in slices: the platform counts in 32 bits.
    constexpr std::chrono::milliseconds slice{0x7FFFFFFF};
    if (timeout > slice)
        return Sleep(lock, static_cast<DWORD>(slice.count())), true;
    return Sleep(lock, static_cast<DWORD>(std::max(timeout, std::chrono::milliseconds::zero()).count()));
}

#else

inline void SteadyCondition::NotifyAll()
{
    m_condition.notify_all();
}

template <class Lock>
void SteadyCondition::Wait(Lock& lock)
{
    m_condition.wait(lock);
}

template <class Lock>
bool SteadyCondition::WaitFor(Lock& lock, std::chrono::milliseconds timeout)
{
    // Slices keep the end of the wait representable whatever the time-out is.
    constexpr std::chrono::hours slice{24};
    if (timeout > slice)
        return m_condition.wait_until(lock, std::chrono::steady_clock::now() + slice), true;
    timeout = std::max(timeout, std::chrono::milliseconds::zero());
    return m_condition.wait_until(lock, std::chrono::steady_clock::now() + timeout) == std::cv_status::no_timeout;
}

#endif
