#include "Platform/Threads.h"

#include <dlfcn.h>
#include <link.h>
#include <new>
#include <pthread.h>
#include <thread>

namespace Platform
{

namespace
{

struct Task
{
    void (*run)(void* body);
    void* body;
    void* module; // a loader's reference; null for the main program, which stays
};

void* Reference(void (*code)(void*))
{
    Dl_info info;
    void* map = nullptr;
    if (dladdr1(reinterpret_cast<const void*>(code), &info, &map, RTLD_DL_LINKMAP) == 0 || !map)
        return nullptr;
    const char* const name = static_cast<const link_map*>(map)->l_name;
    if (!*name)
        return nullptr;
    void* const module = dlopen(name, RTLD_NOLOAD | RTLD_LAZY);
    if (!module)
        throw std::bad_alloc();
    return module;
}

// Lies in the platform library, which stays loaded.
void* RunTask(void* argument)
{
    const Task task = *std::unique_ptr<Task>(static_cast<Task*>(argument));
    task.run(task.body);
    if (task.module)
        dlclose(task.module);
    return nullptr;
}

} // namespace

std::chrono::nanoseconds SteadyNow()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void SleepFor(std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(duration);
}

void Condition::NotifyAll()
{
    const std::lock_guard lock(m_inner);
    m_condition.notify_all();
}

bool Condition::SleepInner(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_inner, std::adopt_lock);
    bool woken = true;
    if (timeout == Forever)
        m_condition.wait(lock);
    else
        woken = m_condition.wait_until(lock, std::chrono::steady_clock::now() + timeout) == std::cv_status::no_timeout;
    lock.release(); // stays locked
    return woken;
}

void WorkerThread::Start(Run run, void* body)
{
    auto task = std::make_unique<Task>(Task{run, body, Reference(run)});
    if (pthread_create(&m_thread, nullptr, &RunTask, task.get()) != 0) {
        if (task->module)
            dlclose(task->module);
        throw std::bad_alloc();
    }
    static_cast<void>(task.release()); // the thread's
}

bool WorkerThread::IsCurrent() const
{
    return pthread_equal(m_thread, pthread_self());
}

void WorkerThread::Join()
{
    pthread_join(m_thread, nullptr);
}

void WorkerThread::Detach()
{
    pthread_detach(m_thread);
}

} // namespace Platform
