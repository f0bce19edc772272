// Runs the tests of the module; a test that leaves something behind fails.
#include "Common/Components/ModuleObject.h"
#include "Host/Halvex/Registry.h"
#include "Host/Nodwell/TestControls.h"
#include "Interfaces/ComponentPtr.h"
#include "Platform/ErrorInfo.h"
#include "Platform/Testing/Process.h"
#include "Tests/Support/Waiting.h"

#include <gtest/gtest.h>
#include <thread>

namespace
{

bool ModuleIsLocked()
{
    BOOL locked = FALSE;
    ModuleObject::Instance().IsLocked(&locked);
    return locked != FALSE;
}

class LeftoverCheck : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override
    {
        m_nodes = NodwellLiveNodes();
        m_instances = HalvexInstanceCount();
        m_threads = CountProcessThreads();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(NodwellLiveNodes(), m_nodes) << "nodes were left behind";
        EXPECT_EQ(HalvexInstanceCount(), m_instances) << "named instances were left behind";
        // A worker that nobody waits for holds the module to its end.
        EXPECT_TRUE(Eventually([] { return !ModuleIsLocked(); })) << "components were left behind";
        // A joined thread may stay in the system's list for a moment.
        EXPECT_TRUE(Eventually([this] { return CountProcessThreads() <= m_threads; })) << "threads were left behind";
        Platform::ErrorInfo::TakeFromThread();
    }

    std::uint64_t m_nodes = 0;
    std::uint32_t m_instances = 0;
    unsigned m_threads = 0;
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // The first thread brings a thread of the sanitizer's along, which stays.
    std::thread([] {}).join();
    testing::UnitTest::GetInstance()->listeners().Append(new LeftoverCheck);
    return RUN_ALL_TESTS();
}
