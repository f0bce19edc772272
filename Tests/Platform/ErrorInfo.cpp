#include "Platform/ErrorInfo.h"

#include <gtest/gtest.h>
#include <thread>

using Platform::ErrorInfo;

namespace
{

constexpr GUID origin{1, 2, 3, {4}};

// "none" when there is none.
std::wstring Take()
{
    const ErrorInfo info = ErrorInfo::TakeFromThread();
    EXPECT_TRUE(info.Origin() == (info ? origin : GUID{}));
    return info ? info.Description() : L"none";
}

} // namespace

TEST(ErrorInfo, IsTheThreadsIsTakenOnceAndReplacesThePreviousOne)
{
    const ErrorInfo first = ErrorInfo::Make(origin, L"d\u00E4");
    first.LeaveOnThread();
    EXPECT_EQ(Take(), L"d\u00E4");
    first.LeaveOnThread();
    ErrorInfo::Make(origin, L"").LeaveOnThread();
    std::thread([&first] {
        EXPECT_EQ(Take(), L"none") << "another thread's";
        first.LeaveOnThread();
    }).join();
    EXPECT_EQ(Take(), L"") << "lives without its maker's reference";
    EXPECT_EQ(Take(), L"none");
    first.LeaveOnThread();
    ErrorInfo().LeaveOnThread();
    EXPECT_EQ(Take(), L"none");
}
