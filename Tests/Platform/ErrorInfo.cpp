#include "Platform/ErrorInfo.h"

#include <gtest/gtest.h>
#include <thread>

using Platform::ErrorInfo;

TEST(ErrorInfo, IsTheThreadsIsTakenOnceAndReplacesThePreviousOne)
{
    constexpr GUID origin{1, 2, 3, {4}};
    const ErrorInfo first = ErrorInfo::Make(origin, L"first");
    first.LeaveOnThread();
    ErrorInfo::Make(origin, L"d\u00E4").LeaveOnThread();
    std::thread([&first] {
        EXPECT_FALSE(ErrorInfo::TakeFromThread()) << "another thread's";
        first.LeaveOnThread();
    }).join();
    const ErrorInfo second = ErrorInfo::TakeFromThread();
    EXPECT_TRUE(second && second.Origin() == origin);
    EXPECT_EQ(second.Description(), L"d\u00E4") << "lives without its maker's reference";
    EXPECT_FALSE(ErrorInfo::TakeFromThread());
    first.LeaveOnThread();
    ErrorInfo().LeaveOnThread();
    EXPECT_FALSE(ErrorInfo::TakeFromThread());
}
