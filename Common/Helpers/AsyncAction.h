// A piece of work on a thread of its own: after a first delay, then periodically, and at once on a trigger.
#pragma once

#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"

#include <chrono>
#include <functional>
#include <future>
#include <memory>

// Runs never overlap. A run that cannot be prepared is tried again a second later or with the next trigger. The period
// counts from the end of a run. Due times follow steady time. Triggers that come during a run collapse into one further
// run right behind it. An exception that leaves the action is logged and costs only that run. Thread-safe. The action
// may also destroy it: the worker then ends when the action returns.
class CAsyncAction
{
public:
    using Action = std::function<void(CAsyncAction&)>;

    // Starts the worker. `period` 0: triggered runs only; `firstDelay` 0: the first run waits for a trigger.
    // `predecessor`: the worker that this one replaces, or null; their runs take turns: no run of this one starts while
    // one of the predecessor's is in progress. Throws HRX when no thread can be started.
    CAsyncAction(std::chrono::seconds period, std::chrono::seconds firstDelay, Action action,
                 const CAsyncAction* predecessor = nullptr);

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
    // What workers that replace each other have in common. Outlives a worker that its own run destroys.
    struct Turns
    {
        Mutex lock;
        Platform::Condition wake; // used with lock
        bool running GUARDED_BY(lock) = false;

        void EndRun();
    };

    bool Work(const Action& action, std::chrono::milliseconds firstDelay);
    void WaitForRun(MutexLock& lock, const std::chrono::milliseconds& interval, SteadyTime since)
        REQUIRES(m_turns->lock);
    bool WaitUntil(MutexLock& lock, SteadyTime due) REQUIRES(m_turns->lock);
    bool Run(const Action& action) EXCLUDES(m_turns->lock);

    const std::shared_ptr<Turns> m_turns;
    bool* m_destroyedByRun = nullptr; // the worker's own note of it; used by the worker's thread only
    std::chrono::milliseconds m_period GUARDED_BY(m_turns->lock);
    bool m_triggered GUARDED_BY(m_turns->lock) = false;
    bool m_stopRequested GUARDED_BY(m_turns->lock) = false;
    std::shared_future<void> m_latestRun GUARDED_BY(m_turns->lock);
    Platform::WorkerThread m_worker; // last member: it uses the others
};
