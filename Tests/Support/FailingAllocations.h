// Memory that runs out, for every allocation in turn.
#pragma once

#include <cstddef>
#include <initializer_list>

// While it lives, the n-th allocation of the process fails, alone or with all later ones. One at a time.
class FailingAllocations
{
public:
    FailingAllocations(std::size_t first, bool forGood);
    ~FailingAllocations() { End(); }
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    bool Struck() const;
    bool ForGood() const;
    static void End();
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
