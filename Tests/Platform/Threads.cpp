#include "Platform/Threads.h"

#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace std::chrono_literals;

TEST(Condition, TimesOutWhenNobodyNotifies)
{
    std::mutex mutex;
    std::unique_lock lock(mutex);
    Platform::Condition condition;
    while (condition.WaitFor(lock, 50ms)) {
    }
    for (const auto due : {0ms, -5ms, std::chrono::milliseconds::min()})
        EXPECT_FALSE(condition.WaitFor(lock, due)) << "a time that has passed already";
}

TEST(Condition, NoNotificationIsLost)
{
    std::mutex mutex;
    Platform::Condition condition;
    int turn = 0;
    const auto play = [&](int mine, auto wait) {
        for (int i = 0; i < 2000; ++i) {
            std::unique_lock lock(mutex);
            while (turn % 2 != mine)
                wait(lock);
            ++turn;
            lock.unlock();
            condition.NotifyAll();
        }
    };
    constexpr auto centuries = std::chrono::milliseconds::max();
    std::thread other(play, 1, [&](auto& lock) { EXPECT_TRUE(condition.WaitFor(lock, centuries)); });
    play(0, [&](auto& lock) { condition.Wait(lock); });
    other.join();
}
