#include "Platform/Testing/AccountsFile.h"
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
    const AccountsFile accounts("user .\\a = 1\ngroup .\\b = 2\nmember .\\b = .\\a\n");
    ASSERT_GT(GetEnvironmentVariableW(L"KESTRINE_ACCOUNTS_FILE", buffer, MAX_PATH), 0U);
    const std::filesystem::path accountsPath = buffer;
    auto accountsTime = std::filesystem::last_write_time(accountsPath);
    BYTE sidBytes[SECURITY_MAX_SID_SIZE];
    SID_NAME_USE use{};

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
        [&] {
            // The file is read anew.
            std::filesystem::last_write_time(accountsPath, accountsTime += std::chrono::seconds(1));
            DWORD sidSize = sizeof(sidBytes);
            DWORD size = MAX_PATH;
            return LookupAccountNameW(nullptr, L"a", sidBytes, &sidSize, buffer, &size, &use) != 0;
        },
        [&] {
            DWORD size = MAX_PATH / 2;
            DWORD domainSize = MAX_PATH / 2;
            wchar_t* const domain = buffer + size;
            return LookupAccountSidW(nullptr, sidBytes, buffer, &size, domain, &domainSize, &use) != 0;
        },
        [&] {
            wchar_t* sidText = nullptr;
            PSID sid = nullptr;
            const bool done = ConvertSidToStringSidW(sidBytes, &sidText) && ConvertStringSidToSidW(sidText, &sid);
            LocalFree(sidText);
            LocalFree(sid);
            return done;
        },
        [&] {
            AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
            AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
            DWORD size = sizeof(buffer);
            const bool done =
                AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT, nullptr, nullptr, nullptr, nullptr, &manager) &&
                AuthzInitializeContextFromSid(0, sidBytes, manager, nullptr, LUID{}, nullptr, &context) &&
                AuthzGetInformationFromContext(context, AuthzContextInfoGroupsSids, size, &size, buffer);
            const DWORD error = GetLastError();
            EXPECT_EQ(AuthzFreeContext(context), context != nullptr);
            EXPECT_EQ(AuthzFreeResourceManager(manager), manager != nullptr);
            SetLastError(error);
            return done;
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
