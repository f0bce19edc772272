// Waiting for what other threads do, with a generous limit: a test that would wait for ever fails instead.
#pragma once

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

inline constexpr std::chrono::seconds WaitLimit{240};

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
    void Open() { m_open = true; }

    // Says that somebody has arrived, and waits for the gate to open.
    void Pass()
    {
        ++m_arrived;
        EXPECT_TRUE(Eventually([this] { return m_open.load(); }));
    }

    // Waits until so many have arrived.
    bool WaitForArrivals(int count)
    {
        return Eventually([&] { return m_arrived >= count; });
    }

private:
    std::atomic<bool> m_open{false};
    std::atomic<int> m_arrived{0};
};
