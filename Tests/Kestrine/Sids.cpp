#include "Platform/Testing/TestAccounts.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

namespace
{

using Platform::AccountType;

class AccountsTest : public testing::Test
{
protected:
    static CSid Sid(const std::wstring& text)
    {
        CSid sid;
        EXPECT_TRUE(AuthIdHelpers::AuthIdToSid(L"win:sid=" + text, sid));
        return sid;
    }

    TestAccounts accounts{"computer = S-1-5-21-10-20-30\ndomain CORP = S-1-5-21-1-2-3 corp.example\n"
                          "user CORP\\ann = 1105\nuser .\\karen = 1001\n"};
    LogCapture log;
};

constexpr wchar_t Ann[] = L"S-1-5-21-1-2-3-1105";

} // namespace

TEST_F(AccountsTest, AccountTextsAreReadInAllFormsAndFailuresKeepTheSid)
{
    CSid sid;
    for (const wchar_t* text :
         {L"WIN:sid=S-1-5-18", L"win:SID=S-1-5-18", L"win:name=x", L"win:sid=", L"win:sid=x", L""})
        EXPECT_FALSE(AuthIdHelpers::AuthIdToSid(text, sid) || sid.IsValid()) << testing::PrintToString(text);
    EXPECT_FALSE(ResolveAccountSid(std::wstring(L"win:sid=") + Ann, sid)) << "no name was looked up";
    EXPECT_TRUE(log.Lines().empty());
    for (const std::wstring text : {L"win:name=CORP\\ann", L"CORP\\ann", L"ann@corp.example"}) {
        sid = {};
        EXPECT_TRUE(ResolveAccountSid(text, sid));
        EXPECT_EQ(log.Count(L"| DBG  |", L"Name '" + text + L"' resolved to sid='" + Ann + L"' with sid_type='7'"), 1U);
    }
    for (const std::wstring text : {L"CORP\\nobody", L"win:name=.\\nobody", L"nobody"}) {
        EXPECT_FALSE(ResolveAccountSid(text, sid));
        EXPECT_EQ(log.Count(L"| WARN |", L"Resolving '" + text + L"' to sid failed: 0x80070534 "), 1U);
    }
    EXPECT_EQ(sid.StringForm(), Ann);
    EXPECT_EQ(sid.LookupByName(L"CORP\\nobody", {}), HResultFromWin32(ERROR_NONE_MAPPED));
    EXPECT_FALSE(sid.IsValid());
    EXPECT_EQ(CodeOf([] { CSid{Platform::Sid{9, 9, 0, 0, 0, 0, 0, 0}}; }), E_INVALIDARG);
    EXPECT_EQ(LookupAccountBySid({}, Sid(L"S-1-1-0"), nullptr), L"Everyone") << "no domain";
    EXPECT_EQ(LookupAccountBySid({}, Sid(L"S-1-5-21-1-2-3"), nullptr), L"CORP") << "no name";
}

TEST_F(AccountsTest, LocalAreThoseOfThisComputerAndTheServiceAccounts)
{
    for (const wchar_t* service : {L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"}) {
        AccountType use = AccountType::User;
        EXPECT_TRUE(AdjustSidType(Sid(service), use));
        EXPECT_EQ(use, AccountType::WellKnownGroup);
        EXPECT_FALSE(AdjustSidType(Sid(service), use)) << "no user any more";
        EXPECT_TRUE(IsLocalAuthId(std::wstring(L"win:sid=") + service));
    }
    AccountType use = AccountType::User;
    EXPECT_FALSE(AdjustSidType(Sid(Ann), use));
    EXPECT_FALSE(IsLocalAuthId(L"win:name=.\\karen")) << "not of the SID form";
    EXPECT_EQ(MakeFullAccessItem(L"x", Sid(Ann)).GetAttributeNames(), std::vector<std::wstring>{L"LogonName"});
    EXPECT_FALSE(MakeFullAccessItem(L"", Sid(L"S-1-5-18")));
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_FALSE(IsLocalAccount(Sid(L"S-1-1-0"))) << "has no domain to compare";
    EXPECT_EQ(log.Count(L"| INFO |", L"IsALocalComputerUser('S-1-1-0') failed: "), 1U);
}
