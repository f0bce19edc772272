// One life of the module, from the first component to the last reference.
#pragma once

#include <array>
#include <cstdint>

namespace Simulation
{

struct Outcome
{
    std::uint64_t hash;
    std::uint64_t steps;
    std::uint64_t actions;
    std::uint64_t writes;
    std::uint64_t injected;
    std::array<std::uint64_t, 20> effects; // changes by the time until they showed: less than 2^n milliseconds
};

// Once for a process, before the first life: what the module keeps for good.
void Prepare();

// In a process of its own. Ends it (Fail) when something is amiss.
void Live(Outcome& outcome);

} // namespace Simulation
