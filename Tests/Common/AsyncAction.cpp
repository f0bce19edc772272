#include "Common/Helpers/AsyncAction.h"

#include "Common/ErrorHandling/HResult.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/Waiting.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

// Counts runs; each run may be made to stop at a gate.
struct CountedRuns
{
    CAsyncAction::Action Action()
    {
        return [this](CAsyncAction&) {
            if (gate)
                gate->Pass();
            ++count;
        };
    }
    bool Reach(int number)
    {
        return Eventually([&] { return count >= number; });
    }

    std::atomic<int> count{0};
    Gate* gate = nullptr;
};

} // namespace

TEST(AsyncAction, RunsAfterTheFirstDelayAndThenAPeriodBehindEachRun)
{
    ManualClock clock;
    CountedRuns runs;
    CAsyncAction action(300s, 100s, runs.Action());
    clock.LetTheWaiterLook(); // the start has been noted
    clock.Advance(100s - 1ms);
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 0);
    clock.Advance(1ms);
    ASSERT_TRUE(runs.Reach(1));
    clock.LetTheWaiterLook(); // the end of the run has been noted
    clock.Advance(300s - 1ms);
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 1);
    clock.Advance(1ms);
    ASSERT_TRUE(runs.Reach(2));
}

TEST(AsyncAction, ThePeriodCountsFromTheEndOfARun)
{
    ManualClock clock;
    CountedRuns runs;
    Gate gate;
    runs.gate = &gate;
    CAsyncAction action(10s, 10s, runs.Action());
    action.Trigger();
    ASSERT_TRUE(gate.WaitForArrivals(1));
    clock.Advance(100s); // a long run
    gate.Open();
    ASSERT_TRUE(runs.Reach(1));
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 1);
    clock.Advance(10s);
    EXPECT_TRUE(runs.Reach(2));
}

TEST(AsyncAction, TriggersDuringARunCollapseIntoOneFurtherRun)
{
    ManualClock clock;
    CountedRuns runs;
    Gate gate;
    runs.gate = &gate;
    CAsyncAction action(300s, 0s, runs.Action());
    const std::shared_future<void> beforeAnyRun = action.Trigger();
    EXPECT_THROW(beforeAnyRun.get(), std::future_error) << "no run had been: a broken promise";
    ASSERT_TRUE(gate.WaitForArrivals(1));
    const std::shared_future<void> runInProgress = action.Trigger();
    action.Trigger();
    action.Trigger();
    EXPECT_EQ(runInProgress.wait_for(0s), std::future_status::timeout);
    gate.Open();
    EXPECT_EQ(runInProgress.wait_for(WaitLimit), std::future_status::ready);
    ASSERT_TRUE(runs.Reach(2));
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 2);
}

TEST(AsyncAction, ANewPeriodTakesEffectOnAWaitInProgress)
{
    ManualClock clock;
    CountedRuns runs;
    CAsyncAction action(300s, 0s, runs.Action());
    action.Trigger();
    ASSERT_TRUE(runs.Reach(1));
    clock.LetTheWaiterLook();
    clock.Advance(120s);
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 1);
    action.SetPeriod(120s);
    ASSERT_TRUE(runs.Reach(2)) << "due at once";
    clock.LetTheWaiterLook();
    action.SetPeriod(120s);
    clock.LetTheWaiterLook();
    EXPECT_EQ(runs.count, 2) << "the same value wakes nobody";
}

TEST(AsyncAction, TheActionMayTriggerAndSetThePeriodItself)
{
    std::atomic<int> count{0};
    CAsyncAction action(1s, 0s, [&](CAsyncAction& self) {
        self.SetPeriod(500s);
        if (++count < 3)
            self.Trigger();
    });
    action.Trigger();
    EXPECT_TRUE(Eventually([&] { return count == 3; }));
}

TEST(AsyncAction, DestructionFinishesTheRunInProgressAndStartsNoOther)
{
    CountedRuns runs;
    Gate gate;
    runs.gate = &gate;
    auto action = std::make_unique<CAsyncAction>(0s, 0s, runs.Action());
    action->Trigger();
    ASSERT_TRUE(gate.WaitForArrivals(1));
    action->Trigger();
    EXPECT_FALSE(action->IsStopRequested());
    action->Stop();
    EXPECT_TRUE(action->IsStopRequested());
    std::thread destroy([&] { action.reset(); });
    EXPECT_EQ(runs.count, 0);
    gate.Open();
    destroy.join();
    EXPECT_EQ(runs.count, 1);
}

TEST(AsyncAction, ExceptionsCostOneRunAndALineEach)
{
    ManualClock clock;
    const LogCapture log;
    std::atomic<int> count{0};
    CAsyncAction action(10s, 0s, [&](CAsyncAction&) {
        switch (++count) {
        case 1:
            ThrowHResult(E_ABORT);
        case 2:
            throw std::runtime_error("of another kind");
        case 3:
            throw 3;
        }
    });
    action.Trigger();
    for (int run = 1; run <= 4; ++run) {
        ASSERT_TRUE(Eventually([&] { return count == run; })) << run;
        clock.LetTheWaiterLook();
        clock.Advance(10s);
    }
    EXPECT_EQ(log.Count(L"| ERR  |", L"AsyncAction.cpp:", L"Executing AsyncAction failed: 0x80004004 "), 1U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: of another kind\r\n"), 1U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Executing AsyncAction failed: unknown exception\r\n"), 1U);
}

TEST(AsyncAction, LogsTheLifeOfItsThread)
{
    const LogCapture log;
    {
        CAsyncAction action(0s, 0s, [](CAsyncAction&) {});
    }
    EXPECT_EQ(log.Count(L"| DBG  |", L"Entering: AsyncAction thread"), 1U);
    EXPECT_EQ(log.Count(L"| DBG  |", L"Exiting: AsyncAction thread"), 1U);
}
