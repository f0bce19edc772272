// Memory that runs out, for every allocation in turn.
#pragma once

#include <atomic>
#include <cstddef>
#include <initializer_list>

// While it lives, the n-th allocation of the process fails, alone or with all later ones. One at a time.
class FailingAllocations
{
public:
    FailingAllocations(std::size_t first, bool forGood)
    {
        s_left = static_cast<std::ptrdiff_t>(first - 1);
        s_goesOn = forGood;
        s_armed = true;
    }
    ~FailingAllocations() { End(); }
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    bool Struck() const { return s_left < 0; }
    bool ForGood() const { return s_goesOn; }
    static void End() { s_armed = false; }

    // Asked at each allocation.
    static bool Fails()
    {
        if (!s_armed)
            return false;
        const std::ptrdiff_t before = s_left--;
        return before == 0 || (before < 0 && s_goesOn);
    }

private:
    static inline std::atomic<bool> s_armed{false};
    static inline std::atomic<std::ptrdiff_t> s_left{0}; // how many allocations still succeed
    static inline bool s_goesOn = false;
};

// Calls `step` with the n-th allocation failing, once and from the n-th on, for every n until none was reached.
template <class Step>
void FailEveryAllocation(Step step)
{
    for (const bool forGood : {false, true}) {
        bool struck = true;
        for (std::size_t n = 1; struck; ++n) {
            FailingAllocations memory(n, forGood);
            step(memory);
            struck = memory.Struck();
        }
    }
}
