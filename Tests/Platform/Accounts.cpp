#include "Platform/Testing/AccountsFile.h"
#include "Platform/Testing/DebugOutput.h"
#include "Tests/Platform/SidText.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <gmock/gmock.h>
#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

constexpr char entries[] =
#include "Tests/Platform/AccountEntries.inl"
    ;

std::wstring ComputerName()
{
    wchar_t name[64] = L"";
    DWORD size = 64;
    EXPECT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, name, &size));
    return name;
}

// Stores "SID domain" in `text`; returns the type, 0 when there is no such account.
DWORD ByName(const wchar_t* name, wchar_t* text)
{
    BYTE sid[SECURITY_MAX_SID_SIZE];
    wchar_t domain[100];
    DWORD sidSize = sizeof(sid);
    DWORD domainSize = 100;
    SID_NAME_USE use{};
    if (!LookupAccountNameW(nullptr, name, sid, &sidSize, domain, &domainSize, &use))
        return 0;
    std::wcscpy(text, (SidText(sid) + L' ' + domain).c_str());
    return use;
}

// Stores "domain\name" in `text`; returns the type, 0 when there is no such account.
DWORD BySid(const wchar_t* sidText, wchar_t* text)
{
    wchar_t name[100];
    wchar_t domain[100];
    DWORD nameSize = 100;
    DWORD domainSize = 100;
    SID_NAME_USE use{};
    if (!LookupAccountSidW(nullptr, SidOf(sidText).get(), name, &nameSize, domain, &domainSize, &use))
        return 0;
    std::wcscpy(text, (std::wstring(domain) + L'\\' + name).c_str());
    return use;
}

DWORD TypeOf(const wchar_t* name)
{
    wchar_t text[300];
    return ByName(name, text);
}

void ExpectAccounts(const std::vector<Row>& rows, DWORD (*call)(const wchar_t*, wchar_t*))
{
    Expect(
        rows, [call](const Row& row, wchar_t* text) { return call(row.texts[0], text); },
        [](const Row&, auto result) { return result != 0; });
}

} // namespace

// Text: an account's name. The result is its type.
TEST(Accounts, WellKnownOnesAreAlwaysThere)
{
    const AccountsFile none("");
    const std::wstring computer = ComputerName();
    ExpectAccounts(
        {
#include "Tests/Platform/RecordedAccountNames.inl"
        },
        &ByName);
}

TEST(Accounts, AreFoundByName)
{
    const AccountsFile file(entries);
    const std::wstring computer = ComputerName();
    ExpectAccounts(
        {
#include "Tests/Platform/AccountNames.inl"
        },
        &ByName);
}

// Text: a SID. The result is the account's type.
TEST(Accounts, AreFoundBySid)
{
    const AccountsFile file(entries);
    ExpectAccounts(
        {
#include "Tests/Platform/AccountSids.inl"
        },
        &BySid);
}

// Text: a name or a SID. Numbers: the sizes given; the answer's text is what became of them.
TEST(Accounts, BuffersThatAreTooSmallAreNotTouched)
{
    const AccountsFile none("");
    const auto expect = [](const std::vector<Row>& rows, auto lookUp) {
        const auto call = [lookUp](const Row& row, wchar_t* text) {
            DWORD sizes[]{row.Number(0), row.Number(1)};
            std::vector<wchar_t> first(sizes[0], L'#');
            std::vector<wchar_t> second(sizes[1], L'#');
            SID_NAME_USE use = SidTypeUnknown;
            const BOOL done = lookUp(row.texts[0], first.data(), &sizes[0], second.data(), &sizes[1], &use);
            EXPECT_EQ(done, use != SidTypeUnknown);
            EXPECT_TRUE(done || std::count(second.begin(), second.end(), L'#') == row.numbers[1]);
            std::wcscpy(text, (std::to_wstring(sizes[0]) + L' ' + std::to_wstring(sizes[1])).c_str());
            return done;
        };
        Expect(rows, call, [](const Row&, auto) { return true; });
    };
    expect(
        {
#include "Tests/Platform/AccountNameBuffers.inl"
        },
        [](const wchar_t* name, auto... rest) { return LookupAccountNameW(L"", name, rest...); });
    expect(
        {
#include "Tests/Platform/AccountSidBuffers.inl"
        },
        [](const wchar_t* sid, auto... rest) { return LookupAccountSidW(nullptr, SidOf(sid).get(), rest...); });
}

TEST(Accounts, OtherComputersAreNotAsked)
{
    DWORD size = 0;
    SID_NAME_USE use{};
    const auto sid = SidOf(L"S-1-5-18");
    for (const DWORD error :
         {ErrorOf([&] { LookupAccountNameW(L"other", L"SYSTEM", nullptr, &size, nullptr, &size, &use); }),
          ErrorOf([&] { LookupAccountSidW(L"other", sid.get(), nullptr, &size, nullptr, &size, &use); })})
        EXPECT_EQ(error, DWORD{RPC_S_SERVER_UNAVAILABLE});
}

TEST(Accounts, FollowTheFile)
{
    const DebugOutputCapture output;
    AccountsFile file("user .\\a = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), DWORD{SidTypeUser});
    file.Write("user .\\b = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), 0U);
    EXPECT_EQ(TypeOf(L"b"), DWORD{SidTypeUser});
    {
        const AccountsFile other("group .\\b = 1001\n");
        EXPECT_EQ(TypeOf(L"b"), DWORD{SidTypeGroup});
    }
    EXPECT_EQ(TypeOf(L"b"), DWORD{SidTypeUser}) << "the file before";
    EXPECT_THAT(output.Texts(), IsEmpty());
    file.Write("user .\\b = 1001\nuser .\\c\n");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(TypeOf(L"b"), 0U);
    EXPECT_EQ(TypeOf(L"SYSTEM"), DWORD{SidTypeWellKnownGroup});
    EXPECT_THAT(output.Texts(), ElementsAre(HasSubstr(L"\\accounts(2): expected \"user DOMAIN\\name = 1105\"")));
}

TEST(Accounts, MalformedFileHasNone)
{
    AccountsFile file("");
    const char* const lines[]{
#include "Tests/Platform/MalformedAccountEntries.inl"
    };
    for (const char* line : lines) {
        const DebugOutputCapture output;
        file.Write("user .\\a = 1001\ndomain E = S-1-5-21-1-2-3\nuser E\\u = 1\ngroup E\\g = 2\n" + std::string(line));
        EXPECT_EQ(TypeOf(L"a"), 0U) << line;
        EXPECT_THAT(output.Texts(), ElementsAre(HasSubstr(L"\\accounts(5): expected "))) << line;
    }
}

TEST(Accounts, ChangeWhileTheyAreLookedUp)
{
    AccountsFile file("");
    std::atomic<bool> done{false};
    const auto lookUp = [&] {
        while (!done) {
            wchar_t text[300] = L"";
            const DWORD type = ByName(L"a", text);
            EXPECT_TRUE(type == 0 || std::wstring(text).starts_with(L"S-1-5-21-0-0-0-1001 ")) << text;
        }
    };
    std::thread threads[]{std::thread(lookUp), std::thread(lookUp)};
    for (int i = 0; i < 20; ++i) {
        file.Write("user .\\a = 1001\n");
        EXPECT_EQ(TypeOf(L"a"), DWORD{SidTypeUser});
        file.Write("");
        EXPECT_EQ(TypeOf(L"a"), 0U);
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
}
