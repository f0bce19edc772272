#include "Platform/Accounts.h"

#include "Platform/Network.h"
#include "Platform/Testing/AuthzCounts.h"
#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TestAccounts.h"
#include "Tests/Platform/Recordings.h"

#include <atomic>
#include <gmock/gmock.h>
#include <numeric>
#include <set>
#include <thread>

using namespace Platform;

namespace
{

// One that is not valid for a null text.
Sid SidOf(const wchar_t* text)
{
    Sid sid{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    EXPECT_TRUE(!text || ParseSid(text, sid)) << text;
    return sid;
}

std::wstring TextOf(const Sid& sid)
{
    std::wstring text;
    EXPECT_EQ(FormatSid(sid, text), S_OK);
    return text;
}

std::wstring ComputerName()
{
    std::wstring name;
    EXPECT_EQ(GetLocalComputerName(name), S_OK);
    return name;
}

// Text: an account's name or SID. Answers with the account's type, 0 when there is none, and "SID domain" or
// "domain\name".
Answer Find(const Row& row)
{
    const std::wstring account = row.texts[0] ? row.texts[0] : L"S-1-";
    const bool bySid = account.starts_with(L"S-1-");
    AccountInfo found;
    const HRESULT hr =
        bySid ? LookUpAccountBySid({}, SidOf(row.texts[0]), found) : LookUpAccountByName({}, account, found);
    if (hr < 0)
        return Failed(hr);
    EXPECT_EQ(found.name == account, !bySid);
    return {static_cast<std::size_t>(found.type), 0,
            bySid ? found.domain + L"\\" + found.name : TextOf(found.sid) + L' ' + found.domain};
}

std::size_t TypeOf(const wchar_t* name)
{
    return std::get<0>(Find({{name}, {}, {}}));
}

} // namespace

// Text: the SID's text. The answer's text is that of the SID.
TEST(Sids, AreReadFromText)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidTexts.inl"
    };
    Expect(rows, [](const Row& row) -> Answer {
        Sid sid;
        if (!ParseSid(row.texts[0], sid))
            return Failed(HResultFromWin32(ERROR_INVALID_SID));
        std::wstring text;
        const HRESULT hr = FormatSid(sid, text);
        return {1, hr & 0xFFFF, text};
    });
}

// Numbers: the SID's bytes. The answer's number is the length of a valid SID.
TEST(Sids, AreValidOrNotAndHaveAText)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSids.inl"
    };
    Expect(rows, [](const Row& row) -> Answer {
        Sid sid(row.numbers.begin(), row.numbers.end());
        if (!IsValidSid(sid))
            return Failed(HResultFromWin32(ERROR_INVALID_SID));
        std::wstring text;
        const HRESULT hr = FormatSid(sid, text);
        const Answer answer{sid.size(), std::get<1>(Failed(hr)), text};
        sid.push_back(0);
        EXPECT_FALSE(IsValidSid(sid)) << "something stands behind it";
        return answer;
    });
}

// Texts: two SIDs; null: one that is not valid.
TEST(Sids, AreOfOneDomainOrNot)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidDomains.inl"
    };
    Expect(rows, [](const Row& row) -> Answer {
        bool same = false;
        const HRESULT hr = AreOfSameDomain(SidOf(row.texts[0]), SidOf(row.texts[1]), same);
        return hr < 0 ? Failed(hr) : Answer{1, 0, same ? L"equal" : L"different"};
    });
}

TEST(Sids, TheServicesAreWellKnown)
{
    const std::pair<WellKnownSid, const wchar_t*> services[] = {{WellKnownSid::LocalSystem, L"S-1-5-18"},
                                                                {WellKnownSid::LocalService, L"S-1-5-19"},
                                                                {WellKnownSid::NetworkService, L"S-1-5-20"}};
    for (const auto& [which, own] : services) {
        for (const wchar_t* text :
             {L"S-1-5-18", L"S-1-5-19", L"S-1-5-20", L"S-1-5-18-1", L"S-1-5-21-1-2-3-18", L"S-1-5-32-544"})
            EXPECT_EQ(IsWellKnownSid(SidOf(text), which), std::wstring(text) == own) << testing::PrintToString(text);
    }
}

TEST(Accounts, WellKnownOnesAreAlwaysThere)
{
    const TestAccounts none("");
    const std::wstring computer = ComputerName();
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedAccountNames.inl"
    };
    Expect(rows, &Find);
}

TEST(Accounts, AreFoundByNameAndBySid)
{
    const TestAccounts file(
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
    TestAccounts file("user .\\a = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), 1U);
    file.Write("user .\\b = 1001\n");
    EXPECT_EQ(TypeOf(L"a"), 0U);
    TestAccounts("group .\\b = 1001\n");
    EXPECT_EQ(TypeOf(L"b"), 1U) << "the file before";
    EXPECT_TRUE(output.Texts().empty());
}

TEST(Accounts, MalformedFileHasNone)
{
    TestAccounts file("");
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
    TestAccounts file("");
    std::atomic<bool> done{false};
    std::thread reader([&done] {
        while (!done) {
            AccountInfo found;
            const HRESULT hr = LookUpAccountByName({}, L"a", found);
            EXPECT_TRUE(hr == S_OK || hr == HResultFromWin32(ERROR_NONE_MAPPED));
        }
    });
    for (int i = 0; i < 40; ++i) {
        file.Write(i % 2 ? "" : "user .\\a = 1001\n");
        EXPECT_EQ(TypeOf(L"a"), i % 2 ? 0U : 1U);
    }
    done = true;
    reader.join();
}

// Text: an account's SID. Number: whether groups are resolved. The answer's number is that of its groups; the text is
// its SID and theirs, sorted.
TEST(ClientContexts, HaveTheGroupsOfTheirAccount)
{
    const TestAccounts accounts(
#include "Tests/Platform/AuthzEntries.inl"
    );
    const std::vector<Row> rows{
#include "Tests/Platform/AuthzContexts.inl"
    };
    Expect(rows, [](const Row& row) -> Answer {
        ClientContext context;
        if (const HRESULT hr = ClientContext::Make(SidOf(row.texts[0]), row.numbers[0] != 0, context); hr < 0) {
            EXPECT_FALSE(context.Get());
            return Failed(hr);
        }
        EXPECT_GE(CountAuthzContexts(), 1U);
        Sid user;
        std::vector<Sid> groups;
        EXPECT_EQ(ReadClientContext(context.Get(), user, groups), S_OK);
        std::set<std::wstring> sids{TextOf(user) + L':'};
        for (const Sid& group : groups)
            sids.insert(L' ' + TextOf(group));
        return {groups.size(), 0, std::accumulate(sids.begin(), sids.end(), std::wstring())};
    });
    EXPECT_EQ(CountAuthzContexts(), 0U);
}
