#include "Tests/Platform/ErrorOf.h"

#include <gtest/gtest.h>
#include <thread>

namespace
{

// The calling thread's token, which CloseHandle closes; null when it has none.
HANDLE OpenToken()
{
    HANDLE token = nullptr;
    const DWORD error = ErrorOf([&] { OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, &token); });
    EXPECT_EQ(error, token ? 0 : DWORD{ERROR_NO_TOKEN});
    return token;
}

} // namespace

TEST(ThreadTokens, AreTakenOffAndPutBack)
{
    EXPECT_FALSE(OpenToken());
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    HANDLE token = OpenToken();
    ASSERT_TRUE(token);
    std::thread([] { EXPECT_FALSE(OpenToken()); }).join();
    EXPECT_TRUE(SetThreadToken(nullptr, nullptr));
    EXPECT_FALSE(OpenToken());
    EXPECT_TRUE(SetThreadToken(nullptr, token));
    EXPECT_TRUE(CloseHandle(token)) << "the thread keeps its token";
    token = OpenToken();
    EXPECT_TRUE(token);
    EXPECT_TRUE(RevertToSelf());
    EXPECT_FALSE(OpenToken());

    DWORD written = 0;
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(WriteFile(token, "x", 1, &written, nullptr)); }), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(CloseHandle(token));
    EXPECT_FALSE(SetThreadToken(nullptr, INVALID_HANDLE_VALUE));
}
