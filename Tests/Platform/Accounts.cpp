#include "Common/Foundation/Handles.h"
#include "Platform/Testing/AccountsFile.h"
#include "Platform/Testing/AuthzCounts.h"
#include "Platform/Testing/DebugOutput.h"
#include "Tests/Platform/Recordings.h"

#include <atomic>
#include <cwchar>
#include <gmock/gmock.h>
#include <numeric>
#include <set>
#include <thread>

namespace
{

// One that is not valid for a null text.
std::shared_ptr<void> SidOf(const wchar_t* text)
{
    static BYTE invalid[]{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    PSID sid = nullptr;
    if (!text)
        return {invalid, [](void*) {}};
    EXPECT_TRUE(ConvertStringSidToSidW(text, &sid)) << text;
    return {sid, &LocalFree};
}

// Empty when it has none.
std::wstring SidText(PSID sid)
{
    wchar_t* text = nullptr;
    ConvertSidToStringSidW(sid, &text);
    const UniqueLocalText owner(text);
    return text ? text : L"";
}

std::wstring ComputerName()
{
    wchar_t name[64] = L"";
    DWORD size = 64;
    EXPECT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, name, &size));
    return name;
}

// Text: an account's name or SID. Asks for the sizes, offers too little and then enough. Returns the account's type, 0
// when there is none, and stores "SID domain" or "domain\name".
DWORD Find(const Row& row, wchar_t* text)
{
    const wchar_t* const account = row.texts[0];
    const bool bySid = account && std::wstring_view(account).starts_with(L"S-1-");
    const auto sid = SidOf(bySid ? account : nullptr);
    SID_NAME_USE use{};
    DWORD sizes[2]{};
    wchar_t first[100];
    wchar_t domain[100] = L"#";
    const auto find = [&] {
        return bySid ? LookupAccountSidW(nullptr, sid.get(), first, &sizes[0], domain, &sizes[1], &use)
                     : LookupAccountNameW(L"", account, first, &sizes[0], domain, &sizes[1], &use);
    };
    if (ErrorOf([&] { EXPECT_FALSE(find()); }) != ERROR_INSUFFICIENT_BUFFER)
        return 0;
    for (DWORD& size : sizes) {
        const DWORD needed = size--;
        EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(find()); }), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(size, needed);
    }
    EXPECT_EQ(*domain, L'#') << "written in part";
    SetLastError(0);
    EXPECT_TRUE(find());
    EXPECT_EQ(sizes[1], std::wcslen(domain));
    std::wcscpy(text,
                bySid ? (domain + std::wstring(L"\\") + first).c_str() : (SidText(first) + L' ' + domain).c_str());
    return use;
}

DWORD TypeOf(const wchar_t* name)
{
    wchar_t text[300];
    return Find({{name}, {}, {}}, text);
}

std::vector<BYTE> Information(AUTHZ_CLIENT_CONTEXT_HANDLE context, AUTHZ_CONTEXT_INFORMATION_CLASS which)
{
    DWORD size = 0;
    EXPECT_FALSE(AuthzGetInformationFromContext(context, which, 0, &size, nullptr));
    std::vector<BYTE> bytes(size);
    EXPECT_FALSE(AuthzGetInformationFromContext(context, which, size - 1, &size, bytes.data()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SetLastError(0);
    EXPECT_TRUE(AuthzGetInformationFromContext(context, which, size, &size, bytes.data()));
    return bytes;
}

} // namespace

// Text: the SID's text. The answer's text is that of the SID.
TEST(Sids, AreReadFromText)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidTexts.inl"
    };
    Expect(rows, [](const Row& row, wchar_t* buffer) {
        PSID sid = nullptr;
        const BOOL done = ConvertStringSidToSidW(row.texts[0], &sid);
        const std::shared_ptr<void> owner(done ? sid : nullptr, &LocalFree);
        std::wcscpy(buffer, done ? SidText(sid).c_str() : L"");
        return done;
    });
}

// Numbers: the SID's bytes. The result is the length of a valid SID; error and text are the conversion's.
TEST(Sids, HaveLengthAndTextAndAreCopiedWhole)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSids.inl"
    };
    Expect(rows, [](const Row& row, wchar_t* buffer) {
        std::vector<BYTE> bytes(row.numbers.begin(), row.numbers.end());
        PSID sid = bytes.empty() ? nullptr : bytes.data();
        if (!IsValidSid(sid))
            return static_cast<DWORD>(SidText(sid).size());
        const DWORD length = GetLengthSid(sid);
        std::vector<BYTE> copy(length);
        EXPECT_FALSE(CopySid(length - 1, copy.data(), sid));
        EXPECT_TRUE(CopySid(length, copy.data(), sid));
        EXPECT_EQ(copy, bytes);
        SetLastError(0);
        std::wcscpy(buffer, SidText(sid).c_str());
        return length;
    });
}

// Texts: two SIDs; null: one that is not valid.
TEST(Sids, AreOfOneDomainOrNot)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidDomains.inl"
    };
    Expect(rows, [](const Row& row, wchar_t* buffer) {
        BOOL equal = 7;
        const BOOL done = EqualDomainSid(SidOf(row.texts[0]).get(), SidOf(row.texts[1]).get(), &equal);
        EXPECT_EQ(done, equal != 7);
        std::wcscpy(buffer, equal ? L"equal" : L"different");
        return done;
    });
}

// Text: a SID. Number: the type asked for.
TEST(Sids, WellKnownOnesAreTold)
{
    const std::vector<Row> rows{
#include "Tests/Platform/WellKnownSids.inl"
    };
    Expect(rows, [](const Row& row, wchar_t* text) {
        *text = 0;
        return IsWellKnownSid(SidOf(row.texts[0]).get(), static_cast<WELL_KNOWN_SID_TYPE>(row.numbers[0]));
    });
}

TEST(Accounts, WellKnownOnesAreAlwaysThere)
{
    const AccountsFile none("");
    const std::wstring computer = ComputerName();
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedAccountNames.inl"
    };
    Expect(rows, &Find);
}

TEST(Accounts, AreFoundByNameAndBySid)
{
    const AccountsFile file(
#include "Tests/Platform/AccountEntries.inl"
    );
    const std::wstring computer = ComputerName();
    const std::vector<Row> rows{
#include "Tests/Platform/AccountNames.inl"
    };
    Expect(rows, &Find);
}

TEST(Accounts, FollowTheFile)
{
    const DebugOutputCapture output;
    AccountsFile file("user .\\a = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), DWORD{SidTypeUser});
    file.Write("user .\\b = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), 0U);
    AccountsFile("group .\\b = 1001\n");
    EXPECT_EQ(TypeOf(L"b"), DWORD{SidTypeUser}) << "the file before";
    EXPECT_TRUE(output.Texts().empty());
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
        EXPECT_EQ(TypeOf(L"a") + TypeOf(L"E\\u"), 0U) << line;
        EXPECT_THAT(output.Texts(), testing::ElementsAre(testing::HasSubstr(L"\\accounts(5): expected "))) << line;
    }
}

TEST(Accounts, ChangeWhileTheyAreLookedUp)
{
    AccountsFile file("");
    std::atomic<bool> done{false};
    std::thread reader([&done] {
        while (!done) {
            DWORD size = 0;
            SID_NAME_USE use{};
            EXPECT_FALSE(LookupAccountNameW(nullptr, L"a", nullptr, &size, nullptr, &size, &use));
        }
    });
    for (int i = 0; i < 40; ++i) {
        file.Write(i % 2 ? "" : "user .\\a = 1001\n");
        EXPECT_EQ(TypeOf(L"a"), i % 2 ? 0 : DWORD{SidTypeUser});
    }
    done = true;
    reader.join();
}

// Text: an account's SID. Number: flags. The result is the number of its groups; the text is its SID and theirs,
// sorted.
TEST(Authz, ContextHasTheGroupsOfItsAccount)
{
    const AccountsFile accounts(
#include "Tests/Platform/AuthzEntries.inl"
    );
    AUTHZ_RESOURCE_MANAGER_HANDLE manager = nullptr;
    ASSERT_TRUE(AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES,
                                               nullptr, nullptr, nullptr, nullptr, &manager));
    EXPECT_EQ(CountAuthzResourceManagers(), 1U);
    const std::vector<Row> rows{
#include "Tests/Platform/AuthzContexts.inl"
    };
    const auto call = [manager](const Row& row, wchar_t* text) -> DWORD {
        AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
        if (!AuthzInitializeContextFromSid(row.Number(0), SidOf(row.texts[0]).get(), manager, nullptr, LUID{}, nullptr,
                                           &context))
            return *text = 0;
        EXPECT_EQ(CountAuthzContexts(), 1U);
        std::vector<BYTE> user = Information(context, AuthzContextInfoUserSid);
        std::vector<BYTE> groups = Information(context, AuthzContextInfoGroupsSids);
        EXPECT_TRUE(AuthzFreeContext(context));
        EXPECT_EQ(CountAuthzContexts(), 0U);
        const auto* const list = reinterpret_cast<TOKEN_GROUPS*>(groups.data());
        std::set<std::wstring> sids;
        for (DWORD i = 0; i < list->GroupCount; ++i) {
            EXPECT_TRUE(list->Groups[i].Attributes & SE_GROUP_ENABLED);
            sids.insert(L' ' + SidText(list->Groups[i].Sid));
        }
        sids.insert(SidText(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid) + L':');
        std::wcscpy(text, std::accumulate(sids.begin(), sids.end(), std::wstring()).c_str());
        return list->GroupCount;
    };
    Expect(rows, call, [](const Row&, auto) { return true; });
    EXPECT_TRUE(AuthzFreeResourceManager(manager));
    EXPECT_EQ(CountAuthzResourceManagers(), 0U);
}
