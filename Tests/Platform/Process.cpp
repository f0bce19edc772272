#include "Platform/Testing/Process.h"

#include "Platform/Testing/DebugOutput.h"
#include "Tests/Platform/ErrorOf.h"

#include <gmock/gmock.h>
#include <latch>
#include <thread>

namespace
{

BOOL IsAtLeast(DWORD major, DWORD minor)
{
    constexpr DWORD types = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = major;
    version.dwMinorVersion = minor;
    ULONGLONG mask = 0;
    for (const DWORD type : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR})
        mask = VerSetConditionMask(mask, type, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&version, types, mask);
}

struct Frames
{
    PVOID frames[8];
    USHORT count;
    PVOID caller;
};

[[gnu::noinline]] Frames Capture(DWORD skip, DWORD size)
{
    Frames result{};
    result.count = RtlCaptureStackBackTrace(skip, size, result.frames, nullptr);
    result.caller = __builtin_return_address(0);
    return result;
}

} // namespace

TEST(Process, ThreadsHaveTheirOwnIdentifierAndLastError)
{
    const DWORD thread = GetCurrentThreadId();
    SetLastError(1);
    std::thread([thread] {
        EXPECT_NE(GetCurrentThreadId(), thread);
        EXPECT_NE(GetLastError(), 1U);
        SetLastError(2);
    }).join();
    EXPECT_NE(GetLastError(), 2U);
    EXPECT_EQ(GetCurrentThreadId(), thread);
    EXPECT_THAT(std::wstring(GetCommandLineW()), testing::HasSubstr(L"PlatformTests"));
}

TEST(Process, ComputerNameReportsTheSizeItNeeds)
{
    DWORD needed = 0;
    EXPECT_FALSE(GetComputerNameExW(ComputerNameNetBIOS, nullptr, &needed));
    ASSERT_GT(needed, 1U);
    ASSERT_LE(needed, 16U);
    std::wstring name(needed, L'#');
    DWORD size = needed - 1;
    EXPECT_EQ(ErrorOf([&] { GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size); }), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(size, needed);
    ASSERT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size));
    EXPECT_EQ(size, needed - 1);
    EXPECT_EQ(name.find_first_of(L"abcdefghijklmnopqrstuvwxyz.#"), std::wstring::npos);
}

TEST(Process, VersionIsComparedAsAWhole)
{
    EXPECT_TRUE(IsAtLeast(6, 0));
    EXPECT_TRUE(IsAtLeast(5, 9)) << "a lower major version settles it";
    EXPECT_EQ(ErrorOf([] { EXPECT_FALSE(IsAtLeast(99, 0)); }), DWORD{ERROR_OLD_WIN_VERSION});
}

TEST(StackCapture, StartsWithTheCallerSkipsAndLimits)
{
    const Frames all = Capture(0, 8);
    ASSERT_GE(all.count, 2);
    const auto offset = static_cast<const char*>(all.frames[0]) - reinterpret_cast<const char*>(&Capture);
    EXPECT_TRUE(offset > 0 && offset < 4000) << offset;
    EXPECT_EQ(all.frames[1], all.caller);
    const Frames one = Capture(1, 1);
    EXPECT_EQ(one.count, 1);
    EXPECT_EQ(one.frames[0], one.caller);
    EXPECT_EQ(one.frames[1], nullptr);
    EXPECT_EQ(Capture(10000, 8).count, 0);
}

TEST(DebugOutput, CaptureSeesEveryThreadWhileItLives)
{
    OutputDebugStringW(L"before\n");
    {
        const DebugOutputCapture capture;
        EXPECT_EQ(ErrorOf([] { OutputDebugStringW(L"one\n"); }), 0U);
        std::thread([] { OutputDebugStringW(L"two"); }).join();
        EXPECT_THAT(capture.Texts(), testing::ElementsAre(L"one\n", L"two"));
    }
    OutputDebugStringW(L"after\n");
    EXPECT_THAT(DebugOutputCapture().Texts(), testing::IsEmpty());
}

TEST(ProcessThreads, AreCounted)
{
    std::latch end(1);
    std::thread thread([&end] { end.wait(); });
    const unsigned count = CountProcessThreads();
    EXPECT_GE(count, 2U);
    end.count_down();
    thread.join();
    for (int i = 0; i < 1000 && CountProcessThreads() == count; ++i)
        Sleep(10);
    EXPECT_LT(CountProcessThreads(), count);
}
