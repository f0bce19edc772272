// Lives by seed, each in a process of its own, one after the other on one core.
//     Simulate [--seeds N] [--seed S] [--replay]
#include "Tests/Simulation/Life.h"
#include "Tests/Simulation/Scheduler.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <malloc.h>
#include <numeric>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace Simulation;

constexpr unsigned TimeLimit = 120; // seconds, of the wall clock
constexpr std::uint64_t TwiceEvery = 50;

Outcome* outcome = nullptr; // shared with the process of the life

// The status of its process.
int RunLife(std::uint64_t seed, Trace trace)
{
    *outcome = {};
    std::cout.flush();
    const pid_t process = fork();
    if (process == 0) {
        alarm(TimeLimit);
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
        Begin(seed, trace);
        Live(*outcome);
        _exit(0);
    }
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

// Runs it once more, with a report.
bool ReportFailure(std::uint64_t seed, int status)
{
    std::cout << "simulate: seed " << seed << " failed; Scripts/simulate --seed " << seed
              << " --replay shows its course\n";
    if (WIFSIGNALED(status))
        std::cout << "ended by signal " << WTERMSIG(status) << '\n';
    if (RunLife(seed, Trace::Report) != status)
        std::cout << "simulate: it did not fail in the same way again\n";
    return false;
}

void Add(Outcome& sum)
{
    sum.steps += outcome->steps;
    sum.actions += outcome->actions;
    sum.writes += outcome->writes;
    sum.injected += outcome->injected;
    for (std::size_t i = 0; i < sum.effects.size(); ++i)
        sum.effects[i] += outcome->effects[i];
}

// Seconds within which so many of a hundred changes showed.
double Percentile(const Outcome& sum, std::uint64_t percent)
{
    const std::uint64_t all = std::accumulate(sum.effects.begin(), sum.effects.end(), std::uint64_t{0});
    std::size_t i = 0;
    for (std::uint64_t below = sum.effects[0]; below * 100 < all * percent; below += sum.effects[i])
        ++i;
    return static_cast<double>(1U << i) / 1000;
}

bool RunLives(std::uint64_t first, std::uint64_t count)
{
    const auto begin = std::chrono::steady_clock::now();
    Outcome sum{};
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        if (const int status = RunLife(seed, Trace::None); status != 0)
            return ReportFailure(seed, status);
        Add(sum);
        const std::uint64_t hash = outcome->hash;
        if (seed % TwiceEvery == 0 && (RunLife(seed, Trace::None) != 0 || outcome->hash != hash)) {
            std::cout << "simulate: seed " << seed << " did not take the same course twice\n";
            return false;
        }
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::cout << "simulate: " << count << " lives passed, "
              << static_cast<int>(static_cast<double>(count) / taken.count()) << " a second: " << sum.actions
              << " actions, " << sum.injected << " failed calls, " << sum.writes << " writes, " << sum.steps
              << " points; changes showed within " << Percentile(sum, 50) << " s (half), " << Percentile(sum, 99)
              << " s (99 %), " << Percentile(sum, 100) << " s (all)\n";
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::uint64_t first = 1;
    std::uint64_t count = 0;
    bool one = false;
    bool replay = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::uint64_t number = i + 1 < argc ? std::strtoull(argv[i + 1], nullptr, 10) : 0;
        if (argument == "--replay") {
            replay = true;
        } else if (number != 0 && (argument == "--seeds" || argument == "--seed")) {
            one = one || argument == "--seed";
            (argument == "--seeds" ? count : first) = number;
            ++i;
        } else {
            std::cerr << "usage: Scripts/simulate [--seeds N] [--seed S] [--replay]\n";
            return 2;
        }
    }
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &core);
    sched_setaffinity(0, sizeof(core), &core);
    mallopt(M_ARENA_MAX, 1); // threads take turns anyway
    outcome = static_cast<Outcome*>(
        mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Prepare();
    if (!replay)
        return RunLives(first, count != 0 ? count : one ? 1 : 4000) ? 0 : 1;
    const int status = RunLife(first, Trace::Full);
    std::cout << "simulate: seed " << first << (status == 0 ? " passed" : " failed") << ", trace " << std::hex
              << outcome->hash << '\n';
    return status == 0 ? 0 : 1;
}
