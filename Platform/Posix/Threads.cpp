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
    std::shared_ptr<void> module; // a loader's reference; null for the main program, which stays
};

std::shared_ptr<void> Reference(void (*code)(void*))
{
    Dl_info info;
    void* map = nullptr;
    if (dladdr1(reinterpret_cast<const void*>(code), &info, &map, RTLD_DL_LINKMAP) == 0 || !map)
        return nullptr;
    const char* const name = static_cast<const link_map*>(map)->l_name;
    if (!*name)
        return nullptr;
    if (void* const module = dlopen(name, RTLD_NOLOAD | RTLD_LAZY))
        return {module, &dlclose};
    throw std::bad_alloc();
}

// Lies in the platform library, which stays loaded.
void* RunTask(void* argument)
{
    const std::unique_ptr<Task> task(static_cast<Task*>(argument));
    task->run(task->body);
    return nullptr;
}

} // namespace

void SleepFor(std::chrono::milliseconds duration)
{
    std::this_thread::sleep_for(duration);
}

void WorkerThread::Start(Run run, void* body)
{
    auto task = std::make_unique<Task>(Task{run, body, Reference(run)});
    if (pthread_create(&m_thread, nullptr, &RunTask, task.get()) != 0)
        throw std::bad_alloc();
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
