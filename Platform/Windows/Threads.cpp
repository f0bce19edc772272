#include "Platform/Threads.h"

#include "Platform/Windows/LastError.h"

namespace Platform
{

namespace
{

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

std::uint32_t Ticks()
{
    return GetTickCount();
}

void SleepFor(std::chrono::milliseconds duration)
{
    Sleep(static_cast<DWORD>(duration.count()));
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
