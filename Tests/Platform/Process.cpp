#include "Common/Foundation/Handles.h"
#include "Tests/Platform/ErrorOf.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace
{

// The calling thread's token, null when it has none.
UniqueHandle OpenToken()
{
    HANDLE token = nullptr;
    const DWORD error = ErrorOf([&] { OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &token); });
    EXPECT_EQ(error, token ? 0 : DWORD{ERROR_NO_TOKEN});
    return UniqueHandle(token);
}

[[gnu::noinline]] USHORT Capture(DWORD skip, DWORD size, PVOID* frames, PVOID& caller)
{
    caller = __builtin_return_address(0);
    return RtlCaptureStackBackTrace(skip, size, frames, nullptr);
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
    EXPECT_NE(std::wstring(GetCommandLineW()).find(L"PlatformTests"), std::wstring::npos);
}

TEST(Process, ComputerNameReportsTheSizeItNeeds)
{
    wchar_t name[16];
    DWORD size = 0;
    EXPECT_EQ(ErrorOf([&] { GetComputerNameExW(ComputerNameNetBIOS, nullptr, &size); }), DWORD{ERROR_MORE_DATA});
    const DWORD needed = size--;
    EXPECT_EQ(ErrorOf([&] { GetComputerNameExW(ComputerNameNetBIOS, name, &size); }), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(size, needed);
    ASSERT_TRUE(size <= 16 && GetComputerNameExW(ComputerNameNetBIOS, name, &size));
    EXPECT_EQ(std::wstring(name).find_first_of(L"abcdefghijklmnopqrstuvwxyz."), std::wstring::npos);
    EXPECT_EQ(size, needed - 1);
}

// Compared as a whole: a lower major version settles it.
TEST(Process, SystemIsOfAVersionOrLater)
{
    constexpr DWORD types = VER_MAJORVERSION | VER_MINORVERSION;
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMinorVersion = 9;
    const ULONGLONG mask = VerSetConditionMask(VerSetConditionMask(0, VER_MINORVERSION, VER_GREATER_EQUAL),
                                               VER_MAJORVERSION, VER_GREATER_EQUAL);
    for (const DWORD major : {5U, 99U}) {
        version.dwMajorVersion = major;
        EXPECT_EQ(ErrorOf([&] { VerifyVersionInfoW(&version, types, mask); }),
                  major == 5 ? 0 : DWORD{ERROR_OLD_WIN_VERSION});
    }
}

TEST(Process, StackStartsWithTheCallerSkipsAndLimits)
{
    PVOID frames[8]{};
    PVOID caller = nullptr;
    EXPECT_GE(Capture(0, 8, frames, caller), 2);
    EXPECT_EQ(frames[1], caller);
    EXPECT_EQ(Capture(1, 1, frames, caller), 1);
    EXPECT_EQ(frames[0], caller);
    EXPECT_EQ(Capture(10000, 8, frames, caller), 0);
}

TEST(Process, ThreadTokensAreTakenOffAndPutBack)
{
    EXPECT_FALSE(OpenToken());
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    UniqueHandle token = OpenToken();
    std::thread([] { EXPECT_FALSE(OpenToken()); }).join();
    EXPECT_TRUE(SetThreadToken(nullptr, nullptr));
    EXPECT_FALSE(OpenToken());
    EXPECT_TRUE(SetThreadToken(nullptr, token.get()));
    token.reset();
    EXPECT_TRUE(OpenToken()) << "the thread keeps its token";
    EXPECT_TRUE(RevertToSelf());
    EXPECT_FALSE(OpenToken());
    EXPECT_FALSE(SetThreadToken(nullptr, INVALID_HANDLE_VALUE));
}
