// The standard mutexes, by their operations. On Windows they are the system's own locks: the standard ones of mingw-w64
// keep memory and, once contended or shared, handles that nothing frees, and the module is to leave nothing behind.
#pragma once

#include "Platform/Win32.h"

#ifndef _WIN32
#include <mutex>
#include <shared_mutex>
#endif

namespace Native
{

#ifdef _WIN32

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

#else

using Mutex = std::mutex;
using RecursiveMutex = std::recursive_mutex;
using SharedMutex = std::shared_mutex;

#endif

} // namespace Native
