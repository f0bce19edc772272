// A lock of a few bytes, for objects that are many and have one each.
#pragma once

#include "Platform/Win32.h"

#ifndef _WIN32
#include <atomic>
#endif

// Works with the standard lock guards; not recursive. Uncontended it costs two atomic exchanges; waiting threads sleep.
class SmallLock
{
public:
    SmallLock() = default;
    SmallLock(const SmallLock&) = delete;
    SmallLock& operator=(const SmallLock&) = delete;

#ifdef _WIN32
    // Not the standard atomics' wait, as elsewhere: with mingw-w64 that loses wake-ups.
    void lock() noexcept
    {
        AcquireSRWLockExclusive(&m_lock);
    }
    void unlock() noexcept
    {
        ReleaseSRWLockExclusive(&m_lock);
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
#else
    void lock() noexcept
    {
        std::uint32_t expected = Free;
        if (!m_state.compare_exchange_strong(expected, Taken, std::memory_order_acquire, std::memory_order_relaxed))
            WaitAndLock();
    }

    void unlock() noexcept
    {
        if (m_state.exchange(Free, std::memory_order_release) == TakenWithWaiters)
            m_state.notify_one();
    }

private:
    static constexpr std::uint32_t Free = 0;
    static constexpr std::uint32_t Taken = 1;
    static constexpr std::uint32_t TakenWithWaiters = 2;

    // Who has waited takes the lock as one with waiters: there may be others, whom its unlock must wake.
    void WaitAndLock() noexcept
    {
        while (m_state.exchange(TakenWithWaiters, std::memory_order_acquire) != Free)
            m_state.wait(TakenWithWaiters, std::memory_order_relaxed);
    }

    std::atomic<std::uint32_t> m_state = Free;
#endif
};
