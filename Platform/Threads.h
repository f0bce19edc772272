// Locks, waiting, and the steady clock: the one place where the module's threads meet and read time.
#pragma once

#include "Platform/Types.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#ifndef _WIN32
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <shared_mutex>
#endif

namespace Platform
{

// Time since some moment in the past, which the wall clock does not move. Any thread.
std::chrono::nanoseconds SteadyNow();

// The same in milliseconds, at less cost and with steps of some milliseconds; wraps after 49.7 days. Any thread.
#ifdef _WIN32
std::uint32_t Ticks();
#else
inline std::uint32_t Ticks() // every log statement asks, also one that is off
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}
#endif

// Lets the calling thread wait.
void SleepFor(std::chrono::milliseconds duration);

#ifdef _WIN32

// The system's own locks: the standard ones of mingw-w64 keep memory and handles that nothing frees, and the module is
// to leave nothing behind. All work with the standard lock guards.
class SharedMutex
{
public:
    constexpr SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock();
    void unlock();
    void lock_shared();
    void unlock_shared();

private:
    void* m_lock = nullptr; // SRWLOCK
};

using Mutex = SharedMutex;

class RecursiveMutex
{
public:
    RecursiveMutex();
    ~RecursiveMutex();
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void lock();
    void unlock();

private:
    alignas(8) unsigned char m_section[40]; // CRITICAL_SECTION
};

#else

using Mutex = std::mutex;
using RecursiveMutex = std::recursive_mutex;
using SharedMutex = std::shared_mutex;

#endif

// A condition variable whose timed waits follow steady time: the wait of mingw-w64's standard one ends by the wall
// clock. Works with any lock that has lock() and unlock(). Waits may end early (spurious wake-ups): callers loop.
class Condition
{
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void NotifyAll();

    template <class Lock>
    void Wait(Lock& lock)
    {
        Sleep(lock, Forever);
    }

    // False when the time-out has passed, true after a wake-up before it. A negative time-out has passed already.
    template <class Lock>
    bool WaitFor(Lock& lock, std::chrono::milliseconds timeout)
    {
        // Slices keep the end of the wait representable, whatever the time-out is.
        constexpr std::chrono::milliseconds slice = std::chrono::hours(24);
        return Sleep(lock, std::min(std::max(timeout, std::chrono::milliseconds::zero()), slice)) || timeout > slice;
    }

private:
    static constexpr std::chrono::milliseconds Forever{-1};

    // The inner lock is taken before the caller's lock is left, so that no notification falls in between.
    template <class Lock>
#ifdef __clang__
    __attribute__((no_thread_safety_analysis))
#endif
    bool
    Sleep(Lock& lock, std::chrono::milliseconds timeout)
    {
        m_inner.lock();
        lock.unlock();
        const bool woken = SleepInner(timeout);
        m_inner.unlock();
        lock.lock();
        return woken;
    }

    bool SleepInner(std::chrono::milliseconds timeout);

    Mutex m_inner;
#ifdef _WIN32
    void* m_condition = nullptr; // CONDITION_VARIABLE
#else
    std::condition_variable m_condition;
#endif
};

// A thread whose code may be unloaded as soon as it has ended: it holds the module that its body lies in, and the last
// that it runs is not that module's.
// Must be joined or detached, once, before it is destroyed. Not to be used by several threads at once.
class WorkerThread
{
public:
    // Runs `body` on a new thread and destroys it there. An exception that leaves it ends the process. Throws
    // std::bad_alloc when no thread can be started.
    template <class Body>
    explicit WorkerThread(Body body)
    {
        auto owned = std::make_unique<Body>(std::move(body));
        Start(&RunAndDestroy<Body>, owned.get());
        static_cast<void>(owned.release()); // the thread's
    }
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Whether it is the calling thread.
    bool IsCurrent() const;

    // Waits until the thread has ended and has let go of the module.
    void Join();
    void Detach();

private:
    using Run = void (*)(void* body);

    template <class Body>
    static void RunAndDestroy(void* body)
    {
        (*std::unique_ptr<Body>(static_cast<Body*>(body)))();
    }

    void Start(Run run, void* body); // `run` lies in the module to hold

    std::uintptr_t m_thread = 0;
};

} // namespace Platform
