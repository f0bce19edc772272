// Runs the threads of one life one at a time. At each lock, unlock, wait, notification, start and end of a thread, and
// at each call into the simulated host, a generator that starts from the seed decides who goes on. Time is virtual: it
// passes when everybody waits.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Simulation
{

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

inline constexpr nanoseconds Never = nanoseconds::max();
inline constexpr int Frames = 24; // of the call stacks in reports

// What a point counts on the way to the next decision. Nodwell's many calls count less.
#ifndef SIMULATION_WEIGHT
#define SIMULATION_WEIGHT 8
#endif

// The same numbers on every machine (splitmix64).
class Random
{
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t Next()
    {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    int Below(int limit) { return static_cast<int>(Next() % static_cast<std::uint64_t>(limit)); }
    bool OneIn(int times) { return Below(times) == 0; }

private:
    std::uint64_t m_state;
};

enum class Trace
{
    None,
    Report, // what a failure's report needs is kept
    Full,   // everything is printed
};

// The life in progress.
struct Schedule
{
    Random dice{0};
    nanoseconds now = std::chrono::hours(24);
    bool calm = false;       // threads are not held up for longer than a second at once
    int atomic = 0;          // while it is not 0, nobody else goes on; nobody may wait then
    std::uint64_t steps = 0; // points passed
    std::uint64_t hash = 0;  // of the trace
    std::size_t alive = 0;   // threads
    Trace trace = Trace::None;
};
extern Schedule schedule;

struct Atomic
{
    Atomic() { ++schedule.atomic; }
    ~Atomic() { --schedule.atomic; }
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;
};

// Makes the calling thread the first of a life.
void Begin(std::uint64_t seed, Trace trace);

// A place where another thread may go on.
void Point(int weight = SIMULATION_WEIGHT);
void SleepFor(nanoseconds duration);

// One more line of the trace; what is only printed does not make it another one.
void Note(const std::string& text);
void Print(const std::string& text);

// Ends the process with status 1; with a trace, prints the reason and what every thread is doing.
[[noreturn]] void Fail(const std::string& reason);

// What Platform/Threads.h is made of. Threads are numbered from 1.

class Lock
{
public:
    constexpr Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() { Acquire(false, SIMULATION_WEIGHT); }
    void unlock() { Release(SIMULATION_WEIGHT); }
    void lock_shared() { Acquire(true, SIMULATION_WEIGHT); }
    void unlock_shared() { Release(SIMULATION_WEIGHT); }

protected:
    explicit Lock(bool recursive) : m_recursive(recursive) {}

private:
    friend struct Report;

    void Acquire(bool shared, int weight);
    void Release(int weight);

    const bool m_recursive = false;
    bool m_shared = false;
    unsigned m_count = 0;  // how often it is held
    unsigned m_holder = 0; // the thread that has taken it last
    unsigned m_number = 0;
    void* m_taken[Frames]{}; // where, for reports
};

// Registers the calling thread as waiting, so that no notification is missed, and waits: false when the time is over.
void BeginWait(const void* condition);
bool Wait(nanoseconds timeout);
void NotifyAll(const void* condition);
nanoseconds LastWait(); // when the calling thread's last one ended

unsigned StartThread(void (*run)(void*), void* body);
unsigned CurrentThread();
void JoinThread(unsigned thread);

} // namespace Simulation
