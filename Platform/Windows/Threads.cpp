#include "Platform/Threads.h"

#include "Platform/Windows/LastError.h"

namespace Platform
{

namespace
{

SRWLOCK* AsLock(void*& lock)
{
    static_assert(sizeof(SRWLOCK) == sizeof(void*));
    return reinterpret_cast<SRWLOCK*>(&lock);
}

CRITICAL_SECTION* AsSection(unsigned char* section)
{
    static_assert(sizeof(CRITICAL_SECTION) == 40 && alignof(CRITICAL_SECTION) == 8);
    return reinterpret_cast<CRITICAL_SECTION*>(section);
}

CONDITION_VARIABLE* AsCondition(void*& condition)
{
    static_assert(sizeof(CONDITION_VARIABLE) == sizeof(void*));
    return reinterpret_cast<CONDITION_VARIABLE*>(&condition);
}

struct Task
{
    void (*run)(void* body);
    void* body;
    HMODULE module; // a loader's reference
};

DWORD WINAPI RunTask(void* argument)
{
    const Task task = *std::unique_ptr<Task>(static_cast<Task*>(argument));
    task.run(task.body);
    FreeLibraryAndExitThread(task.module, 0);
}

HANDLE AsHandle(std::uintptr_t thread)
{
    return reinterpret_cast<HANDLE>(thread);
}

} // namespace

std::chrono::nanoseconds SteadyNow()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

std::uint32_t Ticks()
{
    return GetTickCount();
}

void SleepFor(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
}

void SharedMutex::lock()
{
    AcquireSRWLockExclusive(AsLock(m_lock));
}

void SharedMutex::unlock()
{
    ReleaseSRWLockExclusive(AsLock(m_lock));
}

void SharedMutex::lock_shared()
{
    AcquireSRWLockShared(AsLock(m_lock));
}

void SharedMutex::unlock_shared()
{
    ReleaseSRWLockShared(AsLock(m_lock));
}

RecursiveMutex::RecursiveMutex()
{
    InitializeCriticalSection(AsSection(m_section));
}

RecursiveMutex::~RecursiveMutex()
{
    DeleteCriticalSection(AsSection(m_section));
}

void RecursiveMutex::lock()
{
    EnterCriticalSection(AsSection(m_section));
}

void RecursiveMutex::unlock()
{
    LeaveCriticalSection(AsSection(m_section));
}

void Condition::NotifyAll()
{
    m_inner.lock();
    m_inner.unlock();
    WakeAllConditionVariable(AsCondition(m_condition));
}

bool Condition::SleepInner(std::chrono::milliseconds timeout)
{
    const DWORD milliseconds = timeout == Forever ? INFINITE : static_cast<DWORD>(timeout.count());
    return SleepConditionVariableSRW(AsCondition(m_condition), reinterpret_cast<SRWLOCK*>(&m_inner), milliseconds, 0);
}

// Not the standard thread: its start routine, which lies in the module, must not be cut off by
// FreeLibraryAndExitThread.
void WorkerThread::Start(Run run, void* body)
{
    auto task = std::make_unique<Task>(Task{run, body, nullptr});
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const wchar_t*>(run),
                            &task->module))
        throw std::bad_alloc();
    // Suspended: the thread's own run may ask whether it is the current one.
    const HANDLE thread = CreateThread(nullptr, 0, &RunTask, task.get(), CREATE_SUSPENDED, nullptr);
    if (!thread) {
        FreeLibrary(task->module);
        throw std::bad_alloc();
    }
    m_thread = reinterpret_cast<std::uintptr_t>(thread);
    static_cast<void>(task.release()); // the thread's
    ResumeThread(thread);
}

bool WorkerThread::IsCurrent() const
{
    return GetThreadId(AsHandle(m_thread)) == GetCurrentThreadId();
}

void WorkerThread::Join()
{
    WaitForSingleObject(AsHandle(m_thread), INFINITE);
    CloseHandle(AsHandle(m_thread));
}

void WorkerThread::Detach()
{
    CloseHandle(AsHandle(m_thread));
}

} // namespace Platform
