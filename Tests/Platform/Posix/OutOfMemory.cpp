#include "Platform/Testing/TestRegistry.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <new>

namespace
{

thread_local int allocationsLeft = -1; // before one fails; negative: none fails
thread_local bool failed = false;

} // namespace

// Out of line: what is inlined into its callers looks mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        failed = true;
        return nullptr;
    }
    return std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    return memory ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

TEST(OutOfMemory, IsAnErrorLikeOthers)
{
    // Too long to be stored without an allocation.
    const std::wstring text(60, L'x');
    TestRegistryKey registry;
    registry.Add(text, text);
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "messages") << "0x1 text\n";
    std::ofstream(folder.Path() / "ini") << "[s]\nk=" << std::string(60, 'x');
    const std::wstring messages = (folder.Path() / "messages").wstring();
    const std::wstring ini = (folder.Path() / "ini").wstring();
    const std::wstring file = (folder.Path() / "file").wstring();
    wchar_t buffer[MAX_PATH];
    WSADATA data;
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    ASSERT_TRUE(SetEnvironmentVariableW(text.c_str(), text.c_str()));

    // Each returns whether it succeeded.
    const std::function<bool()> calls[] = {
        [&] { return GetEnvironmentVariableW(text.c_str(), buffer, MAX_PATH) > 0; },
        [&] { return GetPrivateProfileStringW(L"s", L"k", nullptr, buffer, MAX_PATH, ini.c_str()) > 0; },
        [&] { return PathCombineW(buffer, L"\\", text.c_str()) != nullptr; },
        [&] { return GetModuleFileNameW(nullptr, buffer, MAX_PATH) > 0; },
        [] { return ImpersonateSelf(SecurityImpersonation) && RevertToSelf(); },
        [&] {
            HANDLE handle = CreateFileW(file.c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, 0x80, nullptr);
            return handle != INVALID_HANDLE_VALUE && CloseHandle(handle);
        },
        [&] {
            HMODULE module = LoadLibraryExW(messages.c_str(), nullptr, 0x22);
            return module && FreeLibrary(module);
        },
        [&] {
            HKEY key = nullptr;
            const LSTATUS status = RegOpenKeyExW(HKEY_CURRENT_USER, registry.SubKey(), 0, KEY_READ, &key);
            SetLastError(static_cast<DWORD>(status));
            return key && RegCloseKey(key) == ERROR_SUCCESS;
        },
        [] {
            ADDRINFOW* list = nullptr;
            const bool done = GetAddrInfoW(L"127.0.0.1", nullptr, nullptr, &list) == 0;
            FreeAddrInfoW(list);
            return done;
        },
    };
    for (const auto& call : calls) {
        EXPECT_TRUE(call());
        int n = 0;
        for (failed = true; failed; ++n) {
            failed = false;
            allocationsLeft = n;
            const bool done = call();
            allocationsLeft = -1;
            EXPECT_NE(done, failed) << "call " << &call - calls << ", allocation " << n;
            EXPECT_TRUE(done || GetLastError() == ERROR_NOT_ENOUGH_MEMORY) << "call " << &call - calls;
        }
        EXPECT_GT(n, 1) << "call " << &call - calls << " allocates nothing";
    }
    EXPECT_EQ(WSACleanup(), 0);
}
