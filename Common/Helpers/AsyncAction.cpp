#include "Common/Helpers/AsyncAction.h"

#include "Common/Components/ModuleObject.h"
#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Common/ErrorHandling/ErrorText.h"

#include <system_error>

namespace
{

using std::chrono::milliseconds;

// Keeps due times representable, whatever was asked for.
milliseconds ToMilliseconds(std::chrono::seconds interval)
{
    constexpr std::chrono::seconds longest = std::chrono::years(100);
    return std::clamp(interval, std::chrono::seconds(0), longest);
}

// The handle of a run that never was: complete, with a broken promise.
std::shared_future<void> BrokenPromise()
{
    return std::promise<void>().get_future().share();
}

} // namespace

CAsyncAction::CAsyncAction(std::chrono::seconds period, std::chrono::seconds firstDelay, Action action)
    : m_period(ToMilliseconds(period)), m_latestRun(BrokenPromise())
{
    try {
        m_worker = std::thread([this, action = std::move(action), delay = ToMilliseconds(firstDelay)] {
            if (Work(action, delay))
                ModuleObject::Instance().Unlock();
        });
    } catch (const std::system_error&) {
        ThrowHResult(E_OUTOFMEMORY);
    }
}

CAsyncAction::~CAsyncAction()
{
    Stop();
    if (m_worker.get_id() == std::this_thread::get_id()) {
        // Nobody waits for the worker: until it ends, it holds the module itself.
        ModuleObject::Instance().Lock();
        *m_destroyedByRun = true;
        m_worker.detach();
    } else if (m_worker.joinable()) {
        m_worker.join();
    }
}

std::shared_future<void> CAsyncAction::Trigger()
{
    std::shared_future<void> latestRun;
    {
        const MutexLock lock(m_lock);
        m_triggered = true;
        latestRun = m_latestRun;
    }
    m_wake.NotifyAll();
    return latestRun;
}

void CAsyncAction::SetPeriod(std::chrono::seconds period)
{
    {
        const MutexLock lock(m_lock);
        if (m_period == ToMilliseconds(period))
            return;
        m_period = ToMilliseconds(period);
    }
    m_wake.NotifyAll();
}

void CAsyncAction::Stop()
{
    {
        const MutexLock lock(m_lock);
        m_stopRequested = true;
    }
    m_wake.NotifyAll();
}

bool CAsyncAction::IsStopRequested() const
{
    const MutexLock lock(m_lock);
    return m_stopRequested;
}

// Returns whether its own run has destroyed the object.
bool CAsyncAction::Work(const Action& action, milliseconds firstDelay)
{
    const TraceScope scope(LogSeverity::Dbg, LogSeverity::Dbg2, L"AsyncAction thread", SourceLocation::Current());
    bool destroyed = false;
    MutexLock lock(m_lock);
    m_destroyedByRun = &destroyed;
    WaitForFirstRun(lock, firstDelay);
    while (!m_stopRequested) {
        lock.unlock();
        Run(action);
        if (destroyed)
            return true;
        lock.lock();
        m_lastRunEnd = SteadyClock::now();
        WaitForNextRun(lock);
    }
    return false;
}

void CAsyncAction::WaitForFirstRun(MutexLock& lock, milliseconds firstDelay)
{
    const SteadyTime due = SteadyClock::now() + firstDelay;
    while (!m_stopRequested && !m_triggered) {
        if (firstDelay == milliseconds(0))
            m_wake.Wait(lock);
        else if (WaitUntil(lock, due))
            return;
    }
}

void CAsyncAction::WaitForNextRun(MutexLock& lock)
{
    while (!m_stopRequested && !m_triggered) {
        if (m_period == milliseconds(0))
            m_wake.Wait(lock);
        else if (WaitUntil(lock, m_lastRunEnd + m_period))
            return;
    }
}

// Whether the due time has passed; false after any wake-up before it.
bool CAsyncAction::WaitUntil(MutexLock& lock, SteadyTime due)
{
    const SteadyTime now = SteadyClock::now();
    if (now > due)
        return true;
    return !SteadyClock::WaitFor(m_wake, lock, std::chrono::floor<milliseconds>(due - now));
}

void CAsyncAction::Run(const Action& action)
{
    constexpr std::wstring_view failed = L"Executing AsyncAction failed: ";
    try {
        std::packaged_task<void()> task([&] { action(*this); });
        const std::shared_future<void> run = task.get_future().share();
        {
            const MutexLock lock(m_lock);
            if (m_stopRequested)
                return;
            m_triggered = false;
            m_latestRun = run;
        }
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
}
