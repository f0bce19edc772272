#include "Platform/Testing/AccountsFile.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/LogCapture.h"

#include <gtest/gtest.h>

namespace
{

constexpr char Entries[] = "computer = S-1-5-21-10-20-30\n"
                           "domain CORP = S-1-5-21-1-2-3 corp.example\n"
                           "user CORP\\ann = 1105\n"
                           "group CORP\\Readers = 1201\n"
                           "user .\\karen = 1001\n";

CSid Sid(const std::wstring& text)
{
    CSid sid;
    EXPECT_TRUE(AuthIdHelpers::AuthIdToSid(L"win:sid=" + text, sid)) << testing::PrintToString(text);
    return sid;
}

} // namespace

TEST(Sid, IsAValueWithTheOutcomeOfItsLookup)
{
    const AccountsFile accounts(Entries);
    CSid ann = CSid::OfAccount(L"CORP\\ann");
    EXPECT_EQ(ann.StringForm(), L"S-1-5-21-1-2-3-1105");
    EXPECT_EQ(ann.NameUse(), SidTypeUser);
    EXPECT_EQ(ann.Domain() + L"/" + ann.AccountName(), L"CORP/CORP\\ann");
    const CSid copy = ann;
    const CSid bytesOnly(ann.Pointer());
    EXPECT_EQ(bytesOnly.NameUse(), SidTypeInvalid) << "no look-up takes place";
    EXPECT_FALSE(ann.LookupByName(L"CORP\\nobody", {}));
    EXPECT_EQ(GetLastError(), ERROR_NONE_MAPPED);
    EXPECT_FALSE(ann.IsValid()) << "cleared";
    EXPECT_FALSE(ann.LookupByName(nullptr, {}));
    EXPECT_EQ(copy.StringForm(), L"S-1-5-21-1-2-3-1105");
    EXPECT_EQ(CSid().StringForm(), L"");
    BYTE noSid[8] = {9, 9};
    EXPECT_EQ(CodeOf([&] { CSid{noSid}; }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([] { CSid{nullptr}; }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([] { CSid::OfAccount(L"CORP\\nobody"); }), HResultFromWin32(ERROR_NONE_MAPPED));
}

TEST(AuthIds, OnlyTheExactSidFormIsRead)
{
    EXPECT_EQ(Sid(L"S-1-5-18").StringForm(), L"S-1-5-18");
    CSid sid;
    for (const wchar_t* text :
         {L"WIN:sid=S-1-5-18", L"win:SID=S-1-5-18", L"win:name=x", L"win:sid=", L"win:sid=x", L""})
        EXPECT_FALSE(AuthIdHelpers::AuthIdToSid(text, sid)) << testing::PrintToString(text);
    EXPECT_FALSE(sid.IsValid());
}

TEST(AccountResolution, ReadsAllFormsAndKeepsTheSidOnFailure)
{
    const AccountsFile accounts(Entries);
    const LogCapture log;
    CSid sid;
    EXPECT_FALSE(ResolveAccountSid(L"win:sid=S-1-5-21-1-2-3-1105", sid)) << "no name was looked up";
    EXPECT_TRUE(log.Lines().empty());
    const CSid before = sid;
    for (const wchar_t* text : {L"win:name=CORP\\ann", L"CORP\\ann", L"ann@corp.example"}) {
        sid = {};
        EXPECT_TRUE(ResolveAccountSid(text, sid));
        EXPECT_EQ(sid.StringForm(), before.StringForm());
        EXPECT_EQ(log.Count(L"| DBG  |", std::wstring(L"Name '") + text +
                                             L"' resolved to sid='S-1-5-21-1-2-3-1105' with sid_type='7'"),
                  1U);
    }
    for (const wchar_t* text : {L"CORP\\nobody", L"win:name=.\\nobody", L"nobody"}) {
        EXPECT_FALSE(ResolveAccountSid(text, sid));
        EXPECT_EQ(log.Count(L"| WARN |", std::wstring(L"Resolving '") + text + L"' to sid failed: 0x80070534 "), 1U);
    }
    EXPECT_EQ(sid.StringForm(), before.StringForm());
}

TEST(AccountResolution, AnUnknownDomainNameIsTriedAsAPrincipalName)
{
    // Only the rewritten form is known here: the DNS name of a domain is no NetBIOS name.
    const AccountsFile accounts(
        "computer = S-1-5-21-10-20-30\ndomain OTHER = S-1-5-21-1-2-3 CORP\nuser OTHER\\ann = 1105\n");
    EXPECT_EQ(LookupSidByName(L"CORP\\ann").StringForm(), L"S-1-5-21-1-2-3-1105");
    EXPECT_EQ(CodeOf([] { LookupSidByName(L".\\ann"); }), HResultFromWin32(ERROR_NONE_MAPPED));
}

TEST(AccountResolution, NamesAreDomainAndAccount)
{
    const AccountsFile accounts(Entries);
    SID_NAME_USE use = SidTypeInvalid;
    EXPECT_EQ(LookupAccountBySid({}, Sid(L"S-1-5-21-1-2-3-1105"), &use), L"CORP\\ann");
    EXPECT_EQ(use, SidTypeUser);
    EXPECT_EQ(LookupAccountBySid({}, Sid(L"S-1-1-0"), &use), L"Everyone") << "no domain";
    EXPECT_EQ(LookupAccountBySid({}, Sid(L"S-1-5-21-1-2-3"), &use), L"CORP") << "no name";
    EXPECT_EQ(CodeOf([] { LookupAccountBySid({}, Sid(L"S-1-5-21-9-9-9-9"), nullptr); }),
              HResultFromWin32(ERROR_NONE_MAPPED));
}

TEST(AccountResolution, ServiceAccountsAreNoUsers)
{
    for (const wchar_t* service : {L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"}) {
        SID_NAME_USE use = SidTypeUser;
        EXPECT_TRUE(AdjustSidType(Sid(service), use));
        EXPECT_EQ(use, SidTypeWellKnownGroup);
        EXPECT_FALSE(AdjustSidType(Sid(service), use)) << "no user any more";
    }
    SID_NAME_USE use = SidTypeUser;
    EXPECT_FALSE(AdjustSidType(Sid(L"S-1-5-21-1-2-3-1105"), use));
    EXPECT_EQ(use, SidTypeUser);
}

TEST(LocalAccounts, AreThoseOfThisComputerAndTheServiceAccounts)
{
    const AccountsFile accounts(Entries);
    const LogCapture log;
    EXPECT_TRUE(IsLocalAccount(Sid(L"S-1-5-21-10-20-30-1001")));
    EXPECT_TRUE(IsLocalAuthId(L"win:sid=S-1-5-19"));
    EXPECT_FALSE(IsLocalAccount(Sid(L"S-1-5-21-1-2-3-1105")));
    EXPECT_FALSE(IsLocalAuthId(L"win:name=.\\karen")) << "not of the SID form";
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_FALSE(IsLocalAccount(Sid(L"S-1-1-0"))) << "has no domain to compare";
    EXPECT_EQ(log.Count(L"| INFO |", L"IsALocalComputerUser('S-1-1-0') failed: "), 1U);

    const KelNodePtr local = MakeFullAccessItem(L"karen", Sid(L"S-1-5-21-10-20-30-1001"));
    EXPECT_EQ(local.GetAttributeNames(), (std::vector<std::wstring>{L"LogonName", L"IsLocalOnly"}));
    const KelNodePtr domain = MakeFullAccessItem(L"CORP\\ann", Sid(L"S-1-5-21-1-2-3-1105"));
    EXPECT_EQ(domain.GetAttributeNames(), std::vector<std::wstring>{L"LogonName"});
    EXPECT_FALSE(MakeFullAccessItem(L"", Sid(L"S-1-5-18")));
}
