// Waiting for what other threads do, with a generous limit: a test that would wait for ever fails instead.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

inline constexpr std::chrono::seconds WaitLimit{30};

// True as soon as `condition` holds.
template <class Condition>
bool Eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + WaitLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// A gate that threads stop at until it is opened.
class Gate
{
public:
    void Open()
    {
        {
            const std::lock_guard lock(m_lock);
            m_open = true;
        }
        m_changed.notify_all();
    }

    // Says that somebody has arrived, and waits for the gate to open.
    void Pass()
    {
        std::unique_lock lock(m_lock);
        ++m_arrived;
        m_changed.notify_all();
        m_changed.wait_for(lock, WaitLimit, [&] { return m_open; });
    }

    // Waits until so many have arrived.
    bool WaitForArrivals(int count)
    {
        std::unique_lock lock(m_lock);
        return m_changed.wait_for(lock, WaitLimit, [&] { return m_arrived >= count; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_open = false;
    int m_arrived = 0;
};
