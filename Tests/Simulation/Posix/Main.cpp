// Lives by seed, each in a process of its own, one after the other on one core.
//     Simulate [--seeds N] [--seed S] [--replay]
#include "Tests/Simulation/Life.h"
#include "Tests/Simulation/Scheduler.h"

#include <chrono>
#include <cstdio>
#include <malloc.h>
#include <sched.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace Simulation;

constexpr unsigned TimeLimit = 120; // seconds, of the wall clock
constexpr std::uint64_t TwiceEvery = 50;

Outcome* shared = nullptr; // with the process of the life

void UseOneCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &cores);
    sched_setaffinity(0, sizeof(cores), &cores);
}

// The status of its process.
int RunLife(std::uint64_t seed, Trace trace)
{
    *shared = {};
    std::fflush(stdout);
    const pid_t process = fork();
    if (process == 0) {
        alarm(TimeLimit);
        Begin(seed, trace);
        Live(*shared);
        std::fflush(stdout);
        _exit(0);
    }
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

// Runs it once more, with a report.
int ReportFailure(std::uint64_t seed, int status, const Outcome& first)
{
    std::printf("simulate: seed %llu failed\n", static_cast<unsigned long long>(seed));
    if (WIFSIGNALED(status))
        std::printf("ended by signal %d\n", WTERMSIG(status));
    if (RunLife(seed, Trace::Report) != status)
        std::printf("and did not fail in the same way again\n");
    std::printf("simulate: Scripts/simulate --seed %llu --replay shows what has happened, %llu actions long\n",
                static_cast<unsigned long long>(seed), static_cast<unsigned long long>(first.actions));
    return 1;
}

// The time below which so many of a hundred changes showed.
double Percentile(const Outcome& sum, unsigned percent)
{
    std::uint64_t all = 0;
    for (const std::uint32_t count : sum.effects)
        all += count;
    std::uint64_t below = 0;
    std::size_t i = 0;
    while (i + 1 < sum.effects.size() && (below += sum.effects[i]) * 100 < all * percent)
        ++i;
    return static_cast<double>(1U << i) / 1000;
}

void Add(Outcome& sum, const Outcome& life)
{
    sum.steps += life.steps;
    sum.actions += life.actions;
    sum.writes += life.writes;
    sum.injected += life.injected;
    for (std::size_t i = 0; i < sum.effects.size(); ++i)
        sum.effects[i] += life.effects[i];
}

int RunLives(std::uint64_t first, std::uint64_t count)
{
    const auto begin = std::chrono::steady_clock::now();
    Outcome sum{};
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const int status = RunLife(seed, Trace::None);
        const Outcome outcome = *shared;
        if (status != 0)
            return ReportFailure(seed, status, outcome);
        if (seed % TwiceEvery == 0 && (RunLife(seed, Trace::None) != 0 || shared->hash != outcome.hash)) {
            std::printf("simulate: seed %llu did not take the same course twice\n",
                        static_cast<unsigned long long>(seed));
            return 1;
        }
        Add(sum, outcome);
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::printf(
        "simulate: %llu lives passed (%.0f a second): %llu actions, %llu calls failed, %llu writes, %llu points; "
        "changes showed within %.1f s (median), %.1f s (99 %%), %.1f s (all)\n",
        static_cast<unsigned long long>(count), static_cast<double>(count) / taken.count(),
        static_cast<unsigned long long>(sum.actions), static_cast<unsigned long long>(sum.injected),
        static_cast<unsigned long long>(sum.writes), static_cast<unsigned long long>(sum.steps), Percentile(sum, 50),
        Percentile(sum, 99), Percentile(sum, 100));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::uint64_t first = 1;
    std::uint64_t count = 0;
    bool replay = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--replay") {
            replay = true;
        } else if (i + 1 < argc && (argument == "--seeds" || argument == "--seed")) {
            (argument == "--seeds" ? count : first) = std::strtoull(argv[++i], nullptr, 10);
            count = std::max<std::uint64_t>(count, 1);
        } else {
            std::fprintf(stderr, "usage: Scripts/simulate [--seeds N] [--seed S] [--replay]\n");
            return 2;
        }
    }
    UseOneCore();
    mallopt(M_ARENA_MAX, 1); // threads take turns anyway
    shared = static_cast<Outcome*>(
        mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Prepare();
    if (!replay)
        return RunLives(first, count == 0 ? 4000 : count);
    const int status = RunLife(first, Trace::Full);
    std::printf("simulate: seed %llu %s, trace %016llx\n", static_cast<unsigned long long>(first),
                status == 0 ? "passed" : "failed", static_cast<unsigned long long>(shared->hash));
    return status == 0 ? 0 : 1;
}
