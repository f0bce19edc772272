#include "Common/Components/DbgAliveObjectsTracker.h"
#include "Common/Diagnostics/FileLogger.h"
#include "Common/Diagnostics/Log.h"
#include "Common/Diagnostics/TraceScope.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/Helpers/AsyncAction.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"
#include "Tests/Support/FailingAllocations.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <fstream>

using namespace std::chrono_literals;

namespace
{

// Whatever memory a step lacks, the process survives it, and what follows is logged as ever.
class OutOfMemory : public testing::Test
{
protected:
    OutOfMemory() { LogManager::Instance().AddLogger(m_logger); }
    ~OutOfMemory() override { LogManager::Instance().RemoveLogger(m_logger); }

    void ExpectLogInOrder()
    {
        clock.Advance(6s);
        LOG_ERR(L"memory is back");
        std::ifstream file(m_folder.Path() / "Test.log", std::ios::binary);
        const std::wstring text = Text::FromUtf16Le(std::string(std::istreambuf_iterator<char>(file), {}));
        EXPECT_TRUE(text.ends_with(L"| memory is back\r\n"));
    }

    ManualClock clock;
    const TemporaryFolder m_folder;
    const ScopedVariable m_path{L"GS_Logger_Path", m_folder.Path().wstring()};
    FileLogger m_logger{LogManager::Instance().Settings(), L"Test.log", L"banner\r\n"};
};

} // namespace

TEST_F(OutOfMemory, LogStatementsAndTraceScopesLetNothingOut)
{
    const HRX error{HRES(E_ABORT)};
    const std::wstring text = L"a text that needs memory when it is copied";
    FailEveryAllocation([&](FailingAllocations&) {
        const TraceScope scope(LogSeverity::Dbg, LogSeverity::Dbg, text, SourceLocation::Current());
        clock.Advance(6s); // the settings are due
        LOG_ERR(L"failed: " << error);
        DbgAliveObjectsTracker::Instance().Report();
    });
    ExpectLogInOrder();
}

TEST_F(OutOfMemory, AWorkerLosesNoRunAndWaitsBeforeItTriesAgain)
{
    FailEveryAllocation([&](FailingAllocations& memory) {
        std::atomic<int> runs{0};
        try {
            CAsyncAction action(0s, 0s, [&](CAsyncAction&) {
                ++runs;
                ThrowHResult(E_ABORT);
            });
            const unsigned looks = SteadyClock::s_manualLooks;
            action.Trigger();
            EXPECT_TRUE(Eventually([&] { return runs == 1 || SteadyClock::s_manualLooks != looks; }));
            if (runs == 1)
                return;
            EXPECT_TRUE(memory.Struck());
            memory.End();
            ManualClock::LetTheWaiterLook();
            EXPECT_EQ(runs, 0);
            clock.Advance(1s);
            EXPECT_TRUE(Eventually([&] { return runs == 1; }));
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(memory.Struck());
        } catch (const HRX& e) {
            EXPECT_EQ(e.Code(), E_OUTOFMEMORY);
        }
    });
    ExpectLogInOrder();
}
