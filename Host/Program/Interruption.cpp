#include "Host/Program/Interruption.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace Host
{

namespace
{

std::atomic<bool> g_requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

extern "C" void OnSignal(int signal)
{
    g_requested = true;
    std::signal(signal, SIG_DFL);
}

} // namespace

void Interruption::Install()
{
    g_requested = false;
    std::signal(SIGINT, &OnSignal);
    std::signal(SIGTERM, &OnSignal);
}

bool Interruption::IsRequested()
{
    return g_requested;
}

void Interruption::Wait(std::chrono::duration<double> duration,
                        const std::function<void(std::chrono::duration<double> passed)>& tick)
{
    constexpr std::chrono::milliseconds slice(50);
    const auto start = std::chrono::steady_clock::now();
    while (!IsRequested()) {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        tick(passed);
        if (passed >= duration)
            return;
        std::this_thread::sleep_for(std::min<std::chrono::duration<double>>(slice, duration - passed));
    }
}

} // namespace Host
