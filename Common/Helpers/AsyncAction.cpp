#include "Common/Helpers/AsyncAction.h"

#include "Common/Components/ModuleObject.h"
#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <new>

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds RetryDelay{1000}; // after a run that could not be prepared

// Keeps due times representable, whatever was asked for.
milliseconds ToMilliseconds(std::chrono::seconds interval)
{
    constexpr std::chrono::seconds longest = std::chrono::years(100);
    return std::clamp(interval, std::chrono::seconds(0), longest);
}

// The handle before the first run: complete, with a broken promise.
std::shared_future<void> BrokenPromise()
{
    // Not left to the promise's destructor, which ends the process when there is no memory.
    std::promise<void> promise;
    promise.set_exception(std::make_exception_ptr(std::future_error(std::future_errc::broken_promise)));
    return promise.get_future().share();
}

} // namespace

CAsyncAction::CAsyncAction(std::chrono::seconds period, std::chrono::seconds firstDelay, Action action,
                           const CAsyncAction* predecessor)
try : m_turns(predecessor ? predecessor->m_turns : std::make_shared<Turns>()), m_period(ToMilliseconds(period)),
    m_latestRun(BrokenPromise()), m_worker([this, action = std::move(action), delay = ToMilliseconds(firstDelay)] {
        if (Work(action, delay))
            ModuleObject::Instance().Unlock();
    }) {
} catch (const std::bad_alloc&) {
    ThrowHResult(E_OUTOFMEMORY);
}

CAsyncAction::~CAsyncAction()
{
    Stop();
    if (m_worker.IsCurrent()) {
        // Nobody waits for the worker, so it holds the module itself until it ends.
        ModuleObject::Instance().Lock();
        *m_destroyedByRun = true;
        m_worker.Detach();
    } else {
        m_worker.Join();
    }
}

std::shared_future<void> CAsyncAction::Trigger()
{
    std::shared_future<void> latestRun;
    {
        const MutexLock lock(m_turns->lock);
        m_triggered = true;
        latestRun = m_latestRun;
    }
    m_turns->wake.NotifyAll();
    return latestRun;
}

void CAsyncAction::SetPeriod(std::chrono::seconds period)
{
    {
        const MutexLock lock(m_turns->lock);
        if (m_period == ToMilliseconds(period))
            return;
        m_period = ToMilliseconds(period);
    }
    m_turns->wake.NotifyAll();
}

void CAsyncAction::Stop()
{
    {
        const MutexLock lock(m_turns->lock);
        m_stopRequested = true;
    }
    m_turns->wake.NotifyAll();
}

bool CAsyncAction::IsStopRequested() const
{
    const MutexLock lock(m_turns->lock);
    return m_stopRequested;
}

void CAsyncAction::Turns::EndRun()
{
    {
        const MutexLock guard(lock);
        running = false;
    }
    wake.NotifyAll();
}

// Returns whether its own run has destroyed the object.
bool CAsyncAction::Work(const Action& action, milliseconds firstDelay)
{
    const TraceScope scope(LogSeverity::Dbg, LogSeverity::Dbg2, L"AsyncAction thread", SourceLocation::Current());
    const std::shared_ptr<Turns> turns = m_turns;
    bool destroyed = false;
    MutexLock lock(m_turns->lock);
    m_destroyedByRun = &destroyed;
    WaitForRun(lock, firstDelay, SteadyClock::now());
    while (!m_stopRequested) {
        m_triggered = false;
        m_turns->running = true;
        lock.unlock();
        const bool prepared = Run(action);
        turns->EndRun();
        if (destroyed)
            return true;
        lock.lock();
        WaitForRun(lock, prepared ? m_period : RetryDelay, SteadyClock::now());
    }
    return false;
}

// Returns when a run is to start: the interval has passed since `since`, or a trigger has come, and no run of another
// worker is in progress. A stop ends the wait as well. The interval may change meanwhile; 0 never passes.
void CAsyncAction::WaitForRun(MutexLock& lock, const milliseconds& interval, SteadyTime since)
{
    bool due = false;
    while (!m_stopRequested && !m_triggered && !due) {
        if (interval == milliseconds(0))
            m_turns->wake.Wait(lock);
        else
            due = WaitUntil(lock, since + interval);
    }
    while (!m_stopRequested && m_turns->running)
        m_turns->wake.Wait(lock);
}

// Whether the due time has passed; false after any wake-up before it.
bool CAsyncAction::WaitUntil(MutexLock& lock, SteadyTime due)
{
    const SteadyTime now = SteadyClock::now();
    if (now > due)
        return true;
    return !SteadyClock::WaitFor(m_turns->wake, lock, std::chrono::floor<milliseconds>(due - now));
}

// False when the run could not be prepared.
bool CAsyncAction::Run(const Action& action)
{
    bool prepared = false;
    constexpr std::wstring_view failed = L"Executing AsyncAction failed: ";
    try {
        std::packaged_task<void()> task([&] { action(*this); });
        const std::shared_future<void> run = task.get_future().share();
        {
            const MutexLock lock(m_turns->lock);
            m_latestRun = run;
        }
        prepared = true;
        const TraceScope scope(LogSeverity::Dbg2, LogSeverity::Dbg2, L"Executing AsyncAction",
                               SourceLocation::Current());
        task();
        run.get();
    } catch (const HRX& e) {
        LOG_ERR(failed << e);
    } catch (const std::exception& e) {
        LOG_ERR(failed << e.what());
    } catch (...) {
        LOG_ERR(failed << L"unknown exception");
    }
    return prepared;
}
