// Locks, waiting, and the steady clock: the one place where the module's threads meet and read time.
#pragma once

#include "Platform/Types.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#ifdef _WIN32
#include "Platform/Windows/Locks.h"
#else
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <shared_mutex>
#endif

namespace Platform
{

// Time since some moment in the past, which the wall clock does not move. Any thread.
inline std::chrono::nanoseconds SteadyNow()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

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

#ifndef _WIN32
using Mutex = std::mutex;
using RecursiveMutex = std::recursive_mutex;
using SharedMutex = std::shared_mutex;
using AnyCondition = std::condition_variable_any;
#endif

// A condition variable for any lock that has lock() and unlock(), whose timed waits follow steady time. Waits may end
// early (spurious wake-ups): callers loop.
class Condition
{
public:
    void NotifyAll() { m_condition.notify_all(); }

    template <class Lock>
    void Wait(Lock& lock)
    {
        m_condition.wait(lock);
    }

    // False when the time-out has passed, true after a wake-up before it. A negative time-out has passed already.
    template <class Lock>
    bool WaitFor(Lock& lock, std::chrono::milliseconds timeout)
    {
        // Slices keep the end of the wait representable, whatever the time-out is.
        constexpr std::chrono::milliseconds slice = std::chrono::hours(24);
        const auto wait = std::clamp(timeout, std::chrono::milliseconds::zero(), slice);
        return m_condition.wait_for(lock, wait) == std::cv_status::no_timeout || timeout > slice;
    }

private:
    AnyCondition m_condition;
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
