// The simulated host's notifications: one after the other for each key, on a thread of the host.
#pragma once

#include "Platform/Threads.h"

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <mutex>

namespace Simulation
{

class Deliveries
{
public:
    using Call = std::function<void()>;

    Deliveries() : m_thread([this] { Run(); }) {}

    void Stop()
    {
        m_stopped = true;
        m_changed.NotifyAll();
        m_thread.Join();
    }

    void Post(const void* key, Call call)
    {
        m_queue.emplace_back(key, std::move(call));
        m_changed.NotifyAll();
    }

    // The first one of a key: on the calling thread or posted.
    void First(const void* key, const std::function<Call()>& make)
    {
        Call call;
        {
            const Atomic atomic;
            call = make();
            if (schedule.dice.OneIn(2)) {
                Post(key, call);
                return;
            }
            m_running[key] = CurrentThread();
        }
        call();
        Finish(key);
    }

    // Forgets what was posted.
    void Cancel(const void* key)
    {
        m_queue.remove_if([key](const auto& each) { return each.first == key; });
    }

    // For the call in progress, unless it is the calling thread's.
    void Wait(const void* key)
    {
        const std::lock_guard lock(m_lock);
        const auto runs = [&] { return m_running.contains(key) && m_running[key] != CurrentThread(); };
        while (runs())
            m_changed.Wait(m_lock);
    }

private:
    void Finish(const void* key)
    {
        m_running.erase(key);
        m_changed.NotifyAll();
    }

    void Run()
    {
        std::unique_lock lock(m_lock);
        for (;;) {
            const auto next = std::find_if(m_queue.begin(), m_queue.end(),
                                           [this](const auto& each) { return !m_running.contains(each.first); });
            if (next != m_queue.end()) {
                const auto [key, call] = std::move(*next);
                m_queue.erase(next);
                m_running[key] = CurrentThread();
                lock.unlock();
                Note("notifies");
                if (schedule.dice.OneIn(4))
                    SleepFor(milliseconds(schedule.dice.Below(schedule.calm ? 200 : 5000)));
                call();
                Finish(key);
                lock.lock();
            } else if (m_stopped) {
                return;
            } else {
                m_changed.Wait(lock);
            }
        }
    }

    Platform::Mutex m_lock;
    Platform::Condition m_changed;
    std::list<std::pair<const void*, Call>> m_queue;
    std::map<const void*, unsigned> m_running; // the threads
    bool m_stopped = false;
    Platform::WorkerThread m_thread;
};

} // namespace Simulation
