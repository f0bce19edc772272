#include "Common/Helpers/AsyncAction.h"

#include "Common/ErrorHandling/HResult.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ManualClock.h"

using namespace std::chrono_literals;

namespace
{

class AsyncActionTest : public testing::Test
{
protected:
    CAsyncAction::Action Count()
    {
        return [this](CAsyncAction&) {
            if (gated)
                gate.Pass();
            ++count;
        };
    }

    // So many runs, and no further one while the time stands still. For workers with a due time.
    void ExpectCount(int number)
    {
        EXPECT_TRUE(Eventually([&] { return count >= number; }));
        clock.LetTheWaiterLook();
        EXPECT_EQ(count, number);
    }

    ManualClock clock;
    LogCapture log;
    std::atomic<int> count{0};
    std::atomic<bool> gated{false}; // runs stop at the gate
    Gate gate;
};

} // namespace

TEST_F(AsyncActionTest, RunsAfterTheFirstDelayAndThenAPeriodBehindTheEndOfEachRun)
{
    CAsyncAction action(300s, 100s, Count());
    ExpectCount(0);
    clock.Advance(100s - 1ms);
    ExpectCount(0);
    clock.Advance(1ms);
    ExpectCount(1);
    clock.Advance(300s - 1ms);
    ExpectCount(1);
    gated = true;
    action.Trigger();
    ASSERT_TRUE(gate.WaitForArrivals(1));
    clock.Advance(1000s);
    gate.Open();
    ExpectCount(2);
    clock.Advance(300s);
    ExpectCount(3);
}

TEST_F(AsyncActionTest, TriggersDuringARunCollapseIntoOneFurtherRun)
{
    gated = true;
    CAsyncAction action(300s, 0s, Count());
    EXPECT_THROW(action.Trigger().get(), std::future_error) << "no run had been: a broken promise";
    ASSERT_TRUE(gate.WaitForArrivals(1));
    const std::shared_future<void> runInProgress = action.Trigger();
    action.Trigger();
    action.Trigger();
    EXPECT_EQ(runInProgress.wait_for(0s), std::future_status::timeout);
    gate.Open();
    EXPECT_EQ(runInProgress.wait_for(WaitLimit), std::future_status::ready);
    ExpectCount(2);
}

TEST_F(AsyncActionTest, ANewPeriodTakesEffectOnAWaitInProgress)
{
    CAsyncAction action(300s, 0s, Count());
    action.Trigger();
    ExpectCount(1);
    clock.Advance(120s);
    ExpectCount(1);
    action.SetPeriod(120s);
    ExpectCount(2);
}

TEST(AsyncAction, ANewPeriodWakesAWaitInRealTime)
{
    std::atomic<int> count{0};
    CAsyncAction action(3600s, 0s, [&](CAsyncAction&) { ++count; });
    action.Trigger();
    ASSERT_TRUE(Eventually([&] { return count == 1; }));
    action.SetPeriod(1s);
    EXPECT_TRUE(Eventually([&] { return count == 2; }));
}

TEST_F(AsyncActionTest, DestructionFinishesTheRunInProgressAndStartsNoOther)
{
    gated = true;
    auto action = std::make_unique<CAsyncAction>(0s, 0s, Count());
    action->Trigger();
    ASSERT_TRUE(gate.WaitForArrivals(1));
    action->Trigger();
    action->Stop();
    std::thread destroy([&] { action.reset(); });
    EXPECT_EQ(count, 0);
    gate.Open();
    destroy.join();
    EXPECT_EQ(count, 1);
    EXPECT_EQ(log.Count(L"| DBG  |", L"Entering: AsyncAction thread"), 1U);
    EXPECT_EQ(log.Count(L"| DBG  |", L"Exiting: AsyncAction thread"), 1U);
}

TEST_F(AsyncActionTest, ExceptionsCostOneRunAndALineEach)
{
    CAsyncAction action(10s, 10s, [&](CAsyncAction&) {
        switch (++count) {
        case 1:
            ThrowHResult(E_ABORT);
        case 2:
            throw std::runtime_error("of another kind");
        case 3:
            throw 3;
        }
    });
    for (int run = 0; run <= 4; ++run) {
        ExpectCount(run);
        clock.Advance(10s);
    }
    EXPECT_EQ(log.Count(L"| ERR  |", L"AsyncAction.cpp:", L"Executing AsyncAction failed: 0x80004004 "), 1U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: of another kind\r\n"), 1U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: unknown exception\r\n"), 1U);
}
