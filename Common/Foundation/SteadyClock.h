// The one seam through which time is read and waited for. It never follows the wall clock.
#pragma once

#include "Platform/Threads.h"

#include <atomic>
#include <chrono>

// Models a standard clock. Tests put a time of their own in place (s_manualTime); everybody who asks then stands on
// that exact nanosecond until the test moves it.
class SteadyClock
{
public:
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<SteadyClock>;
    static constexpr bool is_steady = true;

    static time_point now()
    {
        if (const auto* manual = s_manualTime.load(std::memory_order_acquire))
            return time_point(duration(manual->load()));
        return time_point(Platform::SteadyNow());
    }

    // Milliseconds in 32 bits, which wrap.
    static std::uint32_t Ticks()
    {
        if (s_manualTime.load(std::memory_order_relaxed))
            return static_cast<std::uint32_t>(
                std::chrono::floor<std::chrono::milliseconds>(now()).time_since_epoch().count());
        return Platform::Ticks();
    }

    // Waits until `condition` is notified (true, as for a spurious wake-up) or the time-out has passed (false).
    template <class Lock>
    static bool WaitFor(Platform::Condition& condition, Lock& lock, std::chrono::milliseconds timeout)
    {
        if (!s_manualTime.load(std::memory_order_relaxed))
            return condition.WaitFor(lock, timeout);
        if (timeout.count() <= 0)
            return false;
        // The test's time does not notify: callers look at it every millisecond.
        ++s_manualLooks;
        condition.WaitFor(lock, std::chrono::milliseconds(1));
        return true;
    }

    static inline std::atomic<const std::atomic<rep>*> s_manualTime{nullptr};
    static inline std::atomic<unsigned> s_manualLooks{0}; // how often a waiter found the manual time not due
};

using SteadyTime = SteadyClock::time_point;
