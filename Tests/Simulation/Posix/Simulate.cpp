// Lives by seed, each in a process of its own, one after the other on one core.
//     Simulate [--seeds N] [--seed S] [--replay]
#include "Tests/Simulation/Posix/LifeProcess.h"
#include "Tests/Simulation/Scheduler.h"

#include <chrono>
#include <numeric>

namespace
{

using namespace Simulation;

constexpr std::uint64_t TwiceEvery = 50;

int RunLife(LifeProcess& process, std::uint64_t seed, Trace trace)
{
    return process.Run([=](Outcome& outcome) {
        Begin(seed, trace);
        Live(outcome);
    });
}

// Runs it once more, with a report.
bool ReportFailure(LifeProcess& process, std::uint64_t seed, int status)
{
    std::cout << "simulate: seed " << seed << " failed; Scripts/simulate --seed " << seed
              << " --replay shows its course\n";
    if (WIFSIGNALED(status))
        std::cout << "ended by signal " << WTERMSIG(status) << '\n';
    if (RunLife(process, seed, Trace::Report) != status)
        std::cout << "simulate: it did not fail in the same way again\n";
    return false;
}

void Add(const Outcome& outcome, Outcome& sum)
{
    sum.steps += outcome.steps;
    sum.actions += outcome.actions;
    sum.writes += outcome.writes;
    sum.injected += outcome.injected;
    for (std::size_t i = 0; i < sum.effects.size(); ++i)
        sum.effects[i] += outcome.effects[i];
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

bool RunLives(LifeProcess& process, std::uint64_t first, std::uint64_t count)
{
    const Outcome& outcome = process.Result();
    const auto begin = std::chrono::steady_clock::now();
    Outcome sum{};
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        if (const int status = RunLife(process, seed, Trace::None); status != 0)
            return ReportFailure(process, seed, status);
        Add(outcome, sum);
        const std::uint64_t hash = outcome.hash;
        if (seed % TwiceEvery == 0 && (RunLife(process, seed, Trace::None) != 0 || outcome.hash != hash)) {
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
    LifeProcess process(L"WARN");
    if (!replay)
        return RunLives(process, first, count != 0 ? count : one ? 1 : 4000) ? 0 : 1;
    const int status = RunLife(process, first, Trace::Full);
    std::cout << "simulate: seed " << first << (status == 0 ? " passed" : " failed") << ", trace " << std::hex
              << process.Result().hash << '\n';
    return status == 0 ? 0 : 1;
}
