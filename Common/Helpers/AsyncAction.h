// A piece of work on a thread of its own: after a first delay, then periodically, and at once on a trigger.
#pragma once

#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"

#include <chrono>
#include <functional>
#include <future>
#include <thread>

// Runs never overlap. The period counts from the end of a run. Due times follow steady time. Triggers that come during
// a run collapse into one further run right behind it. An exception that leaves the action is logged and costs only
// that run. Thread-safe. The action may destroy it, too: the worker then ends when the action returns.
class CAsyncAction
{
public:
    using Action = std::function<void(CAsyncAction&)>;

    // Starts the worker. `period` 0: triggered runs only; `firstDelay` 0: the first run waits for a trigger.
    // Throws HRX when no thread can be started.
    CAsyncAction(std::chrono::seconds period, std::chrono::seconds firstDelay, Action action);

    // Stops the worker and waits for a run in progress, except inside that run.
    ~CAsyncAction();
    CAsyncAction(const CAsyncAction&) = delete;
    CAsyncAction& operator=(const CAsyncAction&) = delete;

    // Asks for a run. The handle belongs to the run that was the latest at this moment, not to the one asked for.
    std::shared_future<void> Trigger();

    // A new value takes effect at once, also on a wait in progress. May be called from inside the action.
    void SetPeriod(std::chrono::seconds period);

    // No further run starts; a run in progress goes on.
    void Stop();
    bool IsStopRequested() const;

private:
    bool Work(const Action& action, std::chrono::milliseconds firstDelay);
    void WaitForFirstRun(MutexLock& lock, std::chrono::milliseconds firstDelay) REQUIRES(m_lock);
    void WaitForNextRun(MutexLock& lock) REQUIRES(m_lock);
    bool WaitUntil(MutexLock& lock, SteadyTime due) REQUIRES(m_lock);
    void Run(const Action& action) EXCLUDES(m_lock);

    std::thread m_worker;
    bool* m_destroyedByRun = nullptr; // the worker's own note of it; used by the worker's thread only
    mutable Mutex m_lock;
    SteadyCondition m_wake; // used with m_lock
    std::chrono::milliseconds m_period GUARDED_BY(m_lock);
    SteadyTime m_lastRunEnd GUARDED_BY(m_lock){};
    bool m_triggered GUARDED_BY(m_lock) = false;
    bool m_stopRequested GUARDED_BY(m_lock) = false;
    std::shared_future<void> m_latestRun GUARDED_BY(m_lock);
};
