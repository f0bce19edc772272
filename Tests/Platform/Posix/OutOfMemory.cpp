#include "Common/Foundation/Handles.h"
#include "Platform/Testing/AccountsFile.h"
#include "Platform/Testing/TestRegistry.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <new>
#include <utility>

namespace
{

thread_local int allocationsLeft = -1; // before one fails; negative: none fails
thread_local bool failed = false;

// `call` returns whether it succeeded.
template <class Call>
void Expect(const char* name, Call call)
{
    EXPECT_TRUE(call()) << name << ": " << GetLastError();
    int n = 0;
    for (failed = true; failed; ++n) {
        failed = false;
        allocationsLeft = n;
        const bool done = call();
        allocationsLeft = -1;
        EXPECT_NE(done, failed) << name << ", allocation " << n;
        EXPECT_TRUE(done || GetLastError() == ERROR_NOT_ENOUGH_MEMORY) << name << ", allocation " << n;
    }
    EXPECT_GT(n, 1) << name << " allocates nothing";
}

} // namespace

// Out of line: what is inlined into its callers looks mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    failed = failed || allocationsLeft == 0;
    return allocationsLeft >= 0 && allocationsLeft-- == 0 ? nullptr : std::malloc(size);
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
    const std::wstring text(60, L'x'); // too long to be stored without an allocation
    wchar_t buffer[MAX_PATH];
    ASSERT_TRUE(SetEnvironmentVariableW(text.c_str(), text.c_str()));
    Expect("environment", [&] { return GetEnvironmentVariableW(text.c_str(), buffer, MAX_PATH) > 0; });
    Expect("path", [&] { return PathCombineW(buffer, L"\\", text.c_str()) != nullptr; });
    Expect("module name", [&] { return GetModuleFileNameW(nullptr, buffer, MAX_PATH) > 0; });
    Expect("token", [] { return ImpersonateSelf(SecurityImpersonation) && RevertToSelf(); });
    WSADATA data;
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    Expect("address", [] {
        ADDRINFOW* list = nullptr;
        const bool done = GetAddrInfoW(L"127.0.0.1", nullptr, nullptr, &list) == 0;
        FreeAddrInfoW(list);
        return done;
    });
    EXPECT_EQ(WSACleanup(), 0);

    const TemporaryFolder folder;
    const std::wstring path = (folder.Path() / "messages").wstring();
    std::ofstream(folder.Path() / "messages") << "0x1 text\n";
    Expect("messages", [&] { return UniqueModule(LoadLibraryExW(path.c_str(), nullptr, 0x22)) != nullptr; });
    Expect("ini file", [&] { return GetPrivateProfileStringW(L"s", L"k", L"d", buffer, 50, path.c_str()) > 0; });
    Expect("file", [&] {
        HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, 0x80, nullptr);
        return file != INVALID_HANDLE_VALUE && CloseHandle(file);
    });
    const TestRegistryKey registry;
    Expect("registry", [] {
        HKEY key = nullptr;
        const LSTATUS status = RegOpenKeyExW(HKEY_CURRENT_USER, TestRegistryKey::SubKey(), 0, KEY_READ, &key);
        SetLastError(static_cast<DWORD>(status));
        return UniqueRegistryKey(key) != nullptr;
    });

    AccountsFile accounts("");
    Expect("accounts", [&] {
        // The file is read anew.
        const int left = std::exchange(allocationsLeft, -1);
        accounts.Write("user .\\a = 1\ngroup .\\b = 2\nmember .\\b = .\\a\n");
        allocationsLeft = left;
        wchar_t name[100];
        wchar_t domain[100];
        BYTE sid[500];
        DWORD sizes[]{500, 100, 100, 100, 500};
        SID_NAME_USE use{};
        wchar_t* sidText = nullptr;
        PSID copy = nullptr;
        AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
        AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
        const bool done =
            LookupAccountNameW(nullptr, L"a", sid, &sizes[0], domain, &sizes[1], &use) &&
            LookupAccountSidW(nullptr, sid, name, &sizes[2], domain, &sizes[3], &use) &&
            ConvertSidToStringSidW(sid, &sidText) && ConvertStringSidToSidW(sidText, &copy) &&
            AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT, nullptr, nullptr, nullptr, nullptr, &manager) &&
            AuthzInitializeContextFromSid(0, copy, manager, nullptr, LUID{}, nullptr, &context) &&
            AuthzGetInformationFromContext(context, AuthzContextInfoGroupsSids, 500, &sizes[4], sid);
        const LastErrorKeeper keeper;
        LocalFree(sidText);
        LocalFree(copy);
        EXPECT_EQ(AuthzFreeContext(context), context != nullptr);
        EXPECT_EQ(AuthzFreeResourceManager(manager), manager != nullptr);
        return done;
    });
}
