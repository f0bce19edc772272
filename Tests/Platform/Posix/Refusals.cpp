#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <gtest/gtest.h>

// What the real functions do and the layer does not fails, and says so.

namespace
{

void ExpectNotSupported(std::initializer_list<DWORD> errors)
{
    for (const DWORD error : errors)
        EXPECT_EQ(error, ERROR_NOT_SUPPORTED) << "call " << &error - errors.begin();
}

} // namespace

TEST(Refusals, FilesAndHandles)
{
    const TemporaryFolder folder;
    const std::wstring path = (folder.Path() / "a").wstring();
    HANDLE file = INVALID_HANDLE_VALUE;
    HANDLE copy = nullptr;
    HANDLE process = GetCurrentProcess();
    const auto openError = [&](DWORD access, DWORD share, DWORD disposition, DWORD flags) {
        return ErrorOf([&] { file = CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr); });
    };
    ExpectNotSupported({openError(0x40000000, 7, OPEN_ALWAYS, 0x80), openError(FILE_APPEND_DATA, 1, OPEN_ALWAYS, 0x80),
                        openError(FILE_APPEND_DATA, 7, 3, 0x80),
                        openError(FILE_APPEND_DATA, 7, OPEN_ALWAYS, 0x40000080)});
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "a"));
    EXPECT_EQ(openError(FILE_APPEND_DATA, 7, OPEN_ALWAYS, 0x80), 0U);
    const auto copyError = [&](HANDLE from, BOOL inherit, DWORD options) {
        return ErrorOf([&] { DuplicateHandle(from, file, process, &copy, FILE_APPEND_DATA, inherit, options); });
    };
    ExpectNotSupported({copyError(process, TRUE, DUPLICATE_SAME_ACCESS), copyError(process, FALSE, 0),
                        copyError(file, FALSE, DUPLICATE_SAME_ACCESS),
                        ErrorOf([&] { OpenThreadToken(process, TOKEN_IMPERSONATE, TRUE, &copy); }),
                        ErrorOf([&] { OpenThreadToken(GetCurrentThread(), 8, TRUE, &copy); }),
                        ErrorOf([&] { SetThreadToken(&process, nullptr); }),
                        ErrorOf([] { ImpersonateSelf(SecurityDelegation); })});
    EXPECT_TRUE(CloseHandle(file));
}

TEST(Refusals, SettingsModulesAndMessages)
{
    wchar_t buffer[50] = L"";
    wchar_t* text = nullptr;
    HMODULE module = nullptr;
    const auto iniError = [&buffer](LPCWSTR section, LPCWSTR key, LPCWSTR path) {
        return ErrorOf([&] { EXPECT_EQ(GetPrivateProfileStringW(section, key, L"d", buffer, 50, path), 0U); });
    };
    const NUMBERFMTW format{3, 1, 3, buffer, buffer, 1};
    const auto numberError = [&](LCID locale, DWORD flags) {
        return ErrorOf([&] { EXPECT_EQ(GetNumberFormatW(locale, flags, L"1", &format, buffer, 50), 0); });
    };
    const auto messageError = [&text](DWORD flags) {
        return ErrorOf([&] { FormatMessageW(flags, nullptr, 5, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr); });
    };
    ExpectNotSupported({iniError(nullptr, L"k", L"/a"), iniError(L"s", nullptr, L"/a"), iniError(L"s", L"k", nullptr),
                        numberError(0x0409, 0), numberError(LOCALE_INVARIANT, 1), messageError(0x1100),
                        messageError(0x1200), messageError(0x0300), messageError(0x1B00), messageError(0x13FF),
                        ErrorOf([&] { GetModuleHandleExW(0, nullptr, &module); }),
                        ErrorOf([] { LoadLibraryExW(L"/a", nullptr, LOAD_LIBRARY_AS_DATAFILE); })});
    EXPECT_EQ(ErrorOf([] { LoadLibraryExW(L"/a", GetCurrentProcess(), 0); }), ERROR_INVALID_PARAMETER);
}

TEST(Refusals, SystemAndNetwork)
{
    DWORD number = 0;
    PVOID frame = nullptr;
    OSVERSIONINFOEXW version{};
    const auto versionError = [&version](DWORD type, BYTE condition) {
        return ErrorOf([&] { VerifyVersionInfoW(&version, type, VerSetConditionMask(0, type, condition)); });
    };
    ExpectNotSupported({versionError(VER_MAJORVERSION, 1), versionError(4, VER_GREATER_EQUAL),
                        ErrorOf([&] { GetComputerNameExW(static_cast<COMPUTER_NAME_FORMAT>(1), nullptr, &number); }),
                        ErrorOf([&] { RtlCaptureStackBackTrace(0, 1, &frame, &number); })});
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"x", 0, 0x20006, &key), static_cast<LSTATUS>(ERROR_NOT_SUPPORTED));
    WSADATA data;
    ADDRINFOW* list = nullptr;
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
    LARGE_INTEGER expiration{};
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
    const auto managerError = [&](DWORD flags, PFN_AUTHZ_COMPUTE_DYNAMIC_GROUPS groups) {
        return ErrorOf([&] { AuthzInitializeResourceManager(flags, nullptr, groups, nullptr, nullptr, &manager); });
    };
    const auto contextError = [&](DWORD flags, LARGE_INTEGER* end, PVOID arguments) {
        return ErrorOf([&] { AuthzInitializeContextFromSid(flags, sid, manager, end, LUID{}, arguments, &context); });
    };
    ASSERT_EQ(managerError(AUTHZ_RM_FLAG_NO_AUDIT, nullptr), 0U);
    ASSERT_EQ(contextError(0, nullptr, nullptr), 0U);
    const auto informationError = [&] {
        const auto restrictedSids = static_cast<AUTHZ_CONTEXT_INFORMATION_CLASS>(3);
        return ErrorOf([&] { AuthzGetInformationFromContext(context, restrictedSids, 0, &size, nullptr); });
    };
    ExpectNotSupported({managerError(0, nullptr), managerError(AUTHZ_RM_FLAG_NO_AUDIT, [] {}),
                        contextError(4, nullptr, nullptr), contextError(0, &expiration, nullptr),
                        contextError(0, nullptr, &size), informationError()});
    for (const DWORD error :
         {ErrorOf([&] { IsWellKnownSid(sid, static_cast<WELL_KNOWN_SID_TYPE>(0)); }),
          ErrorOf([&] { LookupAccountNameW(nullptr, L"a", sid, nullptr, nullptr, &size, &use); }),
          ErrorOf([&] { LookupAccountSidW(nullptr, sid, nullptr, &size, nullptr, &size, nullptr); }),
          ErrorOf([&] { EXPECT_TRUE(AuthzFreeContext(context) && !AuthzFreeContext(context)); }),
          ErrorOf([&] { EXPECT_TRUE(AuthzFreeResourceManager(manager) && !AuthzFreeResourceManager(manager)); }),
          contextError(0, nullptr, nullptr)})
        EXPECT_EQ(error, ERROR_INVALID_PARAMETER);
}
