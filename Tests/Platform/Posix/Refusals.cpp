#include "Platform/Win32.h"

#include <gtest/gtest.h>

// What the real functions do and the layer does not fails, and says so.

namespace
{

// Each call returns what says that it failed.
template <class... Calls>
void ExpectError(DWORD expected, Calls... calls)
{
    int number = 1;
    const auto expect = [&](auto call) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(call()) << "call " << number;
        EXPECT_EQ(GetLastError(), expected) << "call " << number++;
    };
    (expect(calls), ...);
}

bool Open(DWORD access, DWORD share, DWORD disposition, DWORD flags)
{
    return CreateFileW(L"/none/a", access, share, nullptr, disposition, flags, nullptr) != INVALID_HANDLE_VALUE;
}

DWORD Format(DWORD flags)
{
    wchar_t text[50];
    return FormatMessageW(flags, nullptr, 5, 0, text, 50, nullptr);
}

} // namespace

TEST(Refusals, SystemAndSettings)
{
    HANDLE process = GetCurrentProcess();
    HANDLE copy = nullptr;
    wchar_t text[50] = L"";
    DWORD number = 0;
    const NUMBERFMTW format{3, 1, 3, text, text, 1};
    ExpectError(
        ERROR_NOT_SUPPORTED, [] { return Open(0x40000000, 7, OPEN_ALWAYS, 0x80); },
        [] { return Open(FILE_APPEND_DATA, 1, OPEN_ALWAYS, 0x80); }, [] { return Open(FILE_APPEND_DATA, 7, 3, 0x80); },
        [] { return Open(FILE_APPEND_DATA, 7, OPEN_ALWAYS, 0x40000080); },
        [&] { return DuplicateHandle(process, nullptr, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS); },
        [&] { return DuplicateHandle(process, nullptr, process, &copy, 0, FALSE, 0); },
        [&] { return DuplicateHandle(nullptr, nullptr, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS); },
        [&] { return OpenThreadToken(process, TOKEN_IMPERSONATE, TRUE, &copy); },
        [&] { return OpenThreadToken(GetCurrentThread(), 8, TRUE, &copy); },
        [&] { return SetThreadToken(&process, nullptr); }, [] { return ImpersonateSelf(SecurityDelegation); },
        [&] { return GetPrivateProfileStringW(nullptr, L"k", L"d", text, 50, L"/a"); },
        [&] { return GetPrivateProfileStringW(L"s", nullptr, L"d", text, 50, L"/a"); },
        [&] { return GetPrivateProfileStringW(L"s", L"k", L"d", text, 50, nullptr); },
        [&] { return GetNumberFormatW(0x0409, 0, L"1", &format, text, 50); },
        [&] { return GetNumberFormatW(LOCALE_INVARIANT, 1, L"1", &format, text, 50); }, [] { return Format(0x1100); },
        [] { return Format(0x1200); }, [] { return Format(0x13FF); },
        [&] { return GetModuleHandleExW(0, nullptr, &copy); },
        [] { return LoadLibraryExW(L"/a", nullptr, LOAD_LIBRARY_AS_DATAFILE); },
        [&] { return GetComputerNameExW(static_cast<COMPUTER_NAME_FORMAT>(1), nullptr, &number); },
        [&] { return RtlCaptureStackBackTrace(0, 1, &copy, &number); });
    HKEY key = nullptr;
    WSADATA data;
    ADDRINFOW* list = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"x", 0, 0x20006, &key), LSTATUS{ERROR_NOT_SUPPORTED});
    EXPECT_EQ(WSAStartup(MAKEWORD(1, 1), &data), WSAVERNOTSUPPORTED);
    EXPECT_EQ(GetAddrInfoW(L"localhost", nullptr, nullptr, &list), WSANOTINITIALISED);
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(GetAddrInfoW(L"localhost", L"http", nullptr, &list), WSANO_RECOVERY);
    EXPECT_EQ(WSACleanup(), 0);
}

TEST(Refusals, AccountsAndAuthorization)
{
    BYTE sid[]{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    DWORD size = 0;
    SID_NAME_USE use{};
    LARGE_INTEGER end{};
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
    const auto makeManager = [&](DWORD flags, PFN_AUTHZ_COMPUTE_DYNAMIC_GROUPS groups) {
        return AuthzInitializeResourceManager(flags, nullptr, groups, nullptr, nullptr, &manager);
    };
    const auto makeContext = [&](DWORD flags, LARGE_INTEGER* expiration = nullptr, PVOID arguments = nullptr) {
        return AuthzInitializeContextFromSid(flags, sid, manager, expiration, LUID{}, arguments, &context);
    };
    ASSERT_TRUE(makeManager(AUTHZ_RM_FLAG_NO_AUDIT, nullptr) && makeContext(0));
    constexpr auto other = static_cast<AUTHZ_CONTEXT_INFORMATION_CLASS>(3);
    ExpectError(
        ERROR_NOT_SUPPORTED, [&] { return makeManager(0, nullptr); },
        [&] { return makeManager(AUTHZ_RM_FLAG_NO_AUDIT, [] {}); }, [&] { return makeContext(4); },
        [&] { return makeContext(0, &end); }, [&] { return makeContext(0, nullptr, &size); },
        [&] { return AuthzGetInformationFromContext(context, other, 0, &size, nullptr); });
    ExpectError(
        RPC_S_SERVER_UNAVAILABLE,
        [&] { return LookupAccountNameW(L"other", L"SYSTEM", nullptr, &size, nullptr, &size, &use); },
        [&] { return LookupAccountSidW(L"other", sid, nullptr, &size, nullptr, &size, &use); });
    EXPECT_TRUE(AuthzFreeContext(context) && AuthzFreeResourceManager(manager));
    ExpectError(
        ERROR_INVALID_PARAMETER, [&] { return IsWellKnownSid(sid, static_cast<WELL_KNOWN_SID_TYPE>(0)); },
        [&] { return AuthzFreeContext(context); }, [&] { return AuthzFreeResourceManager(manager); },
        [&] { return makeContext(0); });
}
