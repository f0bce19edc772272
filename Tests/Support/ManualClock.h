// Time that stands still until the test moves it.
#pragma once

#include "Common/Foundation/SteadyClock.h"
#include "Tests/Support/Waiting.h"

#include <atomic>

class ManualClock
{
public:
    ManualClock()
    {
        // Not zero: a steady clock has run for a while when the module is loaded.
        s_now = std::chrono::duration_cast<SteadyClock::duration>(std::chrono::hours(24)).count();
        SteadyClock::s_manualTime.store(&s_now, std::memory_order_release);
    }
    ~ManualClock() { SteadyClock::s_manualTime.store(nullptr); }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    void Advance(SteadyClock::duration step) { s_now += step.count(); }

    // Returns when a waiting thread has looked at the time as it stands and found that it is not due. For one waiter.
    static void LetTheWaiterLook()
    {
        const unsigned looks = SteadyClock::s_manualLooks;
        EXPECT_TRUE(Eventually([&] { return SteadyClock::s_manualLooks - looks >= 2; }));
    }

private:
    static inline std::atomic<SteadyClock::rep> s_now; // a worker that nobody waits for may still look at it
};
