// One life of the module, from the first component to the last reference.
#pragma once

#include <array>
#include <cstdint>

namespace Simulation
{

struct CalledFunction
{
    char name[56];
    std::uint64_t calls;
};

struct Outcome
{
    std::uint64_t hash;
    std::uint64_t steps;
    std::uint64_t actions;
    std::uint64_t writes;
    std::uint64_t injected;
    std::array<std::uint64_t, 20> effects;    // changes by the time until they showed: less than 2^n milliseconds
    std::uint64_t history;                    // hash of what the table held after each act
    std::uint64_t struck;                     // calls that were made to fail
    std::uint64_t reports;                    // of failures, in the log, the debugger output and results
    std::array<CalledFunction, 80> functions; // that the module called; behind them, some without name
};

// Once for a process, before the first life: what the module keeps for good. `severity`: what it logs.
void Prepare(const wchar_t* severity);

// In a process of its own. Ends it (Fail) when something is amiss.
void Live(Outcome& outcome);

// The same acts each time, during which the module's calls count and can fail (Faults.h).
void LiveByScript(Outcome& outcome);

} // namespace Simulation
