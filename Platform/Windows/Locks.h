// The system's own locks and condition variable. The standard ones of mingw-w64 keep memory and handles that nothing
// frees, and the module is to leave nothing behind; their timed waits end by the wall clock. Internal to the platform.
#pragma once

#include "Platform/Types.h"

#include <chrono>
#include <condition_variable>
#include <synchapi.h>

namespace Platform
{

// They work with the standard lock guards.
class SharedMutex
{
public:
    constexpr SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() { ReleaseSRWLockShared(&m_lock); }

private:
    friend class AnyCondition;

    SRWLOCK m_lock = SRWLOCK_INIT;
};

using Mutex = SharedMutex;

class RecursiveMutex
{
public:
    RecursiveMutex() { InitializeCriticalSection(&m_section); }
    ~RecursiveMutex() { DeleteCriticalSection(&m_section); }
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void lock() { EnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

// As std::condition_variable_any.
class AnyCondition
{
public:
    void notify_all()
    {
        m_inner.lock();
        m_inner.unlock();
        WakeAllConditionVariable(&m_condition);
    }

    template <class Lock>
    void wait(Lock& lock)
    {
        Sleep(lock, MAXDWORD); // for ever
    }

    template <class Lock>
    std::cv_status wait_for(Lock& lock, std::chrono::milliseconds timeout)
    {
        return Sleep(lock, static_cast<DWORD>(timeout.count())) ? std::cv_status::no_timeout : std::cv_status::timeout;
    }

private:
    // The inner lock is taken before the caller's lock is left, so that no notification falls in between.
    template <class Lock>
    BOOL Sleep(Lock& lock, DWORD milliseconds)
    {
        m_inner.lock();
        lock.unlock();
        const BOOL woken = SleepConditionVariableSRW(&m_condition, &m_inner.m_lock, milliseconds, 0);
        m_inner.unlock();
        lock.lock();
        return woken;
    }

    Mutex m_inner;
    CONDITION_VARIABLE m_condition = CONDITION_VARIABLE_INIT;
};

} // namespace Platform
