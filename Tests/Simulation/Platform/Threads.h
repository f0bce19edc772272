// Takes the place of the port of that name: the same locks, conditions, clock and threads, run by a scheduler that
// decides by a seed who goes on. Time is virtual: it passes when everybody waits.
#pragma once

#include "Platform/Types.h"
#include "Tests/Simulation/Scheduler.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

namespace Platform
{

std::chrono::nanoseconds SteadyNow();
std::uint32_t Ticks();
void SleepFor(std::chrono::milliseconds duration);

using Mutex = Simulation::Lock;
using SharedMutex = Simulation::Lock;

class RecursiveMutex : public Simulation::Lock
{
public:
    RecursiveMutex() : Lock(true) {}
};

class Condition
{
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void NotifyAll() { Simulation::NotifyAll(this); }

    template <class Lock>
    void Wait(Lock& lock)
    {
        Sleep(lock, Simulation::Never);
    }

    template <class Lock>
    bool WaitFor(Lock& lock, std::chrono::milliseconds timeout)
    {
        // Longer ones would not be representable.
        return Sleep(lock, std::clamp<std::chrono::nanoseconds>(timeout, {}, std::chrono::years(1)));
    }

private:
    template <class Lock>
    bool Sleep(Lock& lock, std::chrono::nanoseconds timeout)
    {
        Simulation::BeginWait(this);
        lock.unlock();
        const bool woken = Simulation::Wait(timeout);
        lock.lock();
        return woken;
    }
};

class WorkerThread
{
public:
    template <class Body>
    explicit WorkerThread(Body body)
    {
        auto owned = std::make_unique<Body>(std::move(body));
        m_thread = Simulation::StartThread(&RunAndDestroy<Body>, owned.get());
        static_cast<void>(owned.release()); // the thread's
    }
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    bool IsCurrent() const { return Simulation::CurrentThread() == m_thread; }
    void Join() { Simulation::JoinThread(m_thread); }
    void Detach() {}

private:
    template <class Body>
    static void RunAndDestroy(void* body)
    {
        (*std::unique_ptr<Body>(static_cast<Body*>(body)))();
    }

    unsigned m_thread = 0;
};

} // namespace Platform
