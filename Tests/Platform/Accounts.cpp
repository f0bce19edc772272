#include "Platform/Accounts.h"

#include "Platform/Testing/DebugOutput.h"
#include "Platform/Testing/TestAccounts.h"

#include <gmock/gmock.h>
#include <set>

using namespace Platform;

namespace
{

Sid SidOf(const std::wstring& text)
{
    Sid sid;
    EXPECT_TRUE(ParseSid(text, sid)) << testing::PrintToString(text);
    return sid;
}

std::wstring TextOf(const Sid& sid)
{
    std::wstring text;
    EXPECT_EQ(FormatSid(sid, text), S_OK);
    return text;
}

HRESULT LookUp(const std::wstring& account, AccountInfo& found)
{
    return account.starts_with(L"S-1-") ? LookUpAccountBySid({}, SidOf(account), found)
                                        : LookUpAccountByName({}, account, found);
}

const Sid notValid{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};

} // namespace

TEST(Sids, AreReadFromText)
{
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"S-1-5-18", L"S-1-5-18"},
        {L" s-1-0x5-0X12-4294967296-", L"S-1-5-18-4294967295"},
        {L"S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15", L"S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15"},
        {L"sy", L"S-1-5-18"},
        {L"BA", L"S-1-5-32-544"},
    };
    for (const auto& [text, formatted] : rows)
        EXPECT_EQ(TextOf(SidOf(text)), formatted);
    for (const wchar_t* text : {L"S-1-5-18 ", L"S-1-5-+18", L"S-1-5-18x", L"S-1-5.1-1", L"S1-5-18", L"S-2-5-18",
                                L"S-1-5", L"S", L"SYX", L"ZZ"}) {
        Sid sid;
        EXPECT_FALSE(ParseSid(text, sid)) << testing::PrintToString(text);
    }
}

TEST(Sids, AreValidOrNotAndHaveAText)
{
    const Sid valid{1, 2, 0, 0, 127, 255, 255, 255, 120, 86, 52, 18, 0, 1, 0, 255};
    EXPECT_TRUE(IsValidSid(valid) && IsValidSid({1, 0, 0, 0, 0, 0, 0, 5}));
    EXPECT_EQ(TextOf(valid), L"S-1-2147483647-305419896-4278190336");
    for (const Sid& bytes : {notValid, Sid(), Sid{1, 16, 0, 0, 0, 0, 0, 5}, Sid{1, 0, 0, 0, 0, 0, 0, 5, 0}})
        EXPECT_FALSE(IsValidSid(bytes));
    for (const wchar_t* text : {L"S-1-5-17", L"S-1-5-18-1", L"S-1-5-21-1-2-3-18"})
        EXPECT_FALSE(IsServiceSid(SidOf(text))) << testing::PrintToString(text);
}

TEST(Sids, AreOfOneDomainOrNot)
{
    const Sid user = SidOf(L"S-1-5-21-1-2-3-1105");
    bool same = false;
    for (const wchar_t* text : {L"S-1-5-21-1-2-3-1106", L"S-1-5-21-1-2-3", L"S-1-5-21-1-2-3-4-5"})
        EXPECT_TRUE(AreOfSameDomain(user, SidOf(text), same) == S_OK && same) << testing::PrintToString(text);
    EXPECT_TRUE(AreOfSameDomain(user, SidOf(L"S-1-5-21-1-2-4-1105"), same) == S_OK && !same);
    for (const wchar_t* text : {L"S-1-5-18", L"S-1-1-0", L"S-1-5-21-1-2"})
        EXPECT_EQ(AreOfSameDomain(user, SidOf(text), same), HResultFromWin32(ERROR_NON_DOMAIN_SID));
    EXPECT_EQ(AreOfSameDomain(notValid, user, same), HResultFromWin32(ERROR_INVALID_SID));
}

TEST(Accounts, AreFoundByNameAndBySid)
{
    const TestAccounts file("\xEF\xBB\xBF# comment\r\n"
                            "\r\n"
                            "computer DESK = S-1-5-21-10-20-30\r\n"
                            "domain EXAMPLE = S-1-5-21-1-2-3 example.com\n"
                            "  domain\tOTHER=S-1-5-21-4-5-6\n"
                            "user EXAMPLE\\jsmith = 1105\n"
                            "user OTHER\\jsmith = 4294967295\n"
                            "user OTHER\\J\xC3\xB6rg = 1107\n"
                            "user example\\karen = 1106\n"
                            "user .\\karen = 1001\n"
                            "group example.com\\Users = 513\n"
                            "alias .\\Viewers = 1002\n"
                            "type NT AUTHORITY\\SYSTEM = user");
    const struct
    {
        const wchar_t* account; // name or SID
        int type;
        const wchar_t* answer; // "SID domain" or "domain\name"
    } rows[] = {
        {L"nt authority\\LocalService", 5, L"S-1-5-19 NT AUTHORITY"},
        {L"Everyone", 5, L"S-1-1-0 "},
        {L"Example.COM\\JSmith", 1, L"S-1-5-21-1-2-3-1105 EXAMPLE"},
        {L"jsmith@example.com", 1, L"S-1-5-21-1-2-3-1105 EXAMPLE"},
        {L"jsmith", 1, L"S-1-5-21-1-2-3-1105 EXAMPLE"},
        {L"OTHER\\jsmith", 1, L"S-1-5-21-4-5-6-4294967295 OTHER"},
        {L"other\\J\u00D6RG", 1, L"S-1-5-21-4-5-6-1107 OTHER"},
        {L"karen", 1, L"S-1-5-21-10-20-30-1001 DESK"},
        {L"Users", 4, L"S-1-5-32-545 BUILTIN"},
        {L"EXAMPLE\\Users", 2, L"S-1-5-21-1-2-3-513 EXAMPLE"},
        {L"desk\\Viewers", 4, L"S-1-5-21-10-20-30-1002 DESK"},
        {L"S-1-5-18", 1, L"NT AUTHORITY\\SYSTEM"},
        {L"S-1-1-0", 5, L"\\Everyone"},
        {L"S-1-5-21-10-20-30", 3, L"DESK\\"},
    };
    AccountInfo found;
    for (const auto& row : rows) {
        EXPECT_EQ(LookUp(row.account, found), S_OK) << testing::PrintToString(row.account);
        const bool byName = found.name == row.account;
        EXPECT_EQ(byName ? TextOf(found.sid) + L' ' + found.domain : found.domain + L'\\' + found.name, row.answer);
        EXPECT_EQ(static_cast<int>(found.type), row.type) << testing::PrintToString(row.account);
    }
    for (const wchar_t* account :
         {L"BUILTIN\\SYSTEM", L".\\SYSTEM", L" SYSTEM", L"OTHER\\karen", L"EXAMPLE\\DESK\\karen", L"EXAMPLE\\",
          L"S-1-5-21-1-2-3-1107", L"S-1-5-21-1-2-3-1105-1"})
        EXPECT_EQ(LookUp(account, found), HResultFromWin32(ERROR_NONE_MAPPED)) << testing::PrintToString(account);
}

TEST(Accounts, AMalformedFileHasNone)
{
    TestAccounts file("");
    for (const char* line :
         {"nonsense = 1", "user .\\b", "user .\\b = -1", "user .\\b = 4294967296", "user b = 1", "user .\\A = 1",
          "user .\\b = 1001", "user NOWHERE\\b = 1", "user .\\b@c = 1", "computer = S-1-5-21-1-2-4",
          "domain D = S-1-5-32", "domain E = S-1-5-21-1-2-4", "domain D = S-1-5-21-1-2-3", "member .\\a = E\\u",
          "member E\\g = E\\x", "type E\\u = User"}) {
        file.Write("user .\\a = 1001\ndomain E = S-1-5-21-1-2-3\nuser E\\u = 1\ngroup E\\g = 2\n" + std::string(line));
        const std::wstring output = DebugOutputOf([line] {
            AccountInfo found;
            EXPECT_EQ(LookUp(L"a", found), HResultFromWin32(ERROR_NONE_MAPPED)) << line;
        });
        EXPECT_THAT(output, testing::HasSubstr(L"accounts(5): expected ")) << line;
    }
}

TEST(ClientContexts, HaveTheGroupsOfTheirAccount)
{
    const TestAccounts accounts("domain E = S-1-5-21-1-2-3\n"
                                "user E\\one = 1101\n"
                                "group E\\inner = 1201\n"
                                "group E\\outer = 1202\n"
                                "alias .\\local = 1001\n"
                                "member E\\inner = E\\one\n"
                                "member E\\outer = E\\inner\n"
                                "member E\\inner = E\\outer\n"
                                "member .\\local = E\\outer\n"
                                "member .\\local = E\\one\n"
                                "member BUILTIN\\Users = NT AUTHORITY\\Authenticated Users\n");
    const auto groupsOf = [](const wchar_t* account, bool resolveGroups) {
        ClientContext context;
        EXPECT_EQ(MakeClientContext(SidOf(account), resolveGroups, context), S_OK);
        Sid user;
        std::vector<Sid> groups;
        EXPECT_EQ(ReadClientContext(context.get(), user, groups), S_OK);
        EXPECT_EQ(TextOf(user), account);
        std::multiset<std::wstring> texts;
        for (const Sid& group : groups)
            texts.insert(TextOf(group));
        return texts;
    };
    EXPECT_THAT(groupsOf(L"S-1-5-21-1-2-3-1101", true),
                testing::ElementsAre(L"S-1-1-0", L"S-1-5-11", L"S-1-5-21-0-0-0-1001", L"S-1-5-21-1-2-3-1201",
                                     L"S-1-5-21-1-2-3-1202", L"S-1-5-32-545"));
    EXPECT_THAT(groupsOf(L"S-1-9-9", false), testing::IsEmpty());
    ClientContext none;
    EXPECT_EQ(MakeClientContext(SidOf(L"S-1-9-9"), true, none), HResultFromWin32(ERROR_NONE_MAPPED));
    EXPECT_FALSE(none);
}
