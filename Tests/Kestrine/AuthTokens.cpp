#include "Common/ErrorHandling/HResult.h"
#include "Host/Nodwell/TestControls.h"
#include "Platform/Testing/AccountsFile.h"
#include "Platform/Testing/AuthzCounts.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/SecurityFakes.h"

#include <gtest/gtest.h>

namespace
{

template <class Body>
HRESULT CodeOf(Body body)
{
    try {
        body();
    } catch (const HRX& e) {
        return e.Code();
    }
    return S_OK;
}

constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);

KelNodePtr Chain(int length)
{
    KelNodePtr token = MakeToken(L"s", L"client", {}, L"OnBehalfOfClient");
    for (int i = 1; i < length; ++i)
        token = MakeToken(L"s", L"service", token, L"OnBehalfOfClient");
    return token;
}

} // namespace

TEST(AuthTokens, TheCurrentTokenIsOptionalUnlessRequired)
{
    EXPECT_FALSE(GetCurrentAuthToken(false)) << "the host has no context manager";
    EXPECT_EQ(CodeOf([] { GetCurrentAuthToken(true); }), NotFound);
    FakeRequestContextMgr manager;
    const NamedInstance named(L"Core.RequestContextMgr", static_cast<IRequestContextMgr*>(&manager));
    EXPECT_FALSE(GetCurrentAuthToken(false)) << "a context without token";
    EXPECT_EQ(CodeOf([] { GetCurrentAuthToken(true); }), NotFound);
    const KelNodePtr token = MakeToken(L"win:sid=S-1-5-18", L"x");
    FakeRequestContextMgr::t_token = &token;
    EXPECT_EQ(GetCurrentAuthToken(true), token);
    FakeRequestContextMgr::t_token = nullptr;
    manager.noContext = true;
    EXPECT_EQ(CodeOf([] { GetCurrentAuthToken(true); }), NotFound);
}

TEST(AuthTokens, AreReadLenientlyAndShownInOneLine)
{
    const KelNodePtr user = MakeToken(L"win:sid=S-1-5-21-1-2-3-4", L"CORP\\ann", {}, L"OnBehalfOfClient");
    const KelNodePtr service = MakeToken(L"svc", L"Portal", user);
    EXPECT_EQ(
        AuthTokenToString(service),
        L"AuthToken[AuthTokenId='id-Portal';SubjectId='svc';SubjectDisplayName='Portal';OnBehalfOf="
        L"AuthToken[AuthTokenId='id-CORP\\ann';SubjectId='win:sid=S-1-5-21-1-2-3-4';SubjectDisplayName='CORP\\ann']]");
    EXPECT_EQ(AuthTokenToString({}), L"AuthToken[<null>]");
    EXPECT_EQ(AuthTokenToString(CreateKelNode(nullptr, nullptr)),
              L"AuthToken[AuthTokenId='';SubjectId='';SubjectDisplayName='']");
    EXPECT_EQ(GetOriginatingClient(service), user);
    EXPECT_EQ(GetOriginatingClient(user), user);
    EXPECT_FALSE(GetOriginatingClient({}));
    EXPECT_EQ(GetSubjectId({}) + GetAuthTokenId({}) + GetSubjectDisplayName(CreateKelNode(nullptr, nullptr)), L"");
}

TEST(AuthTokens, AChainThatDoesNotEndFailsClearly)
{
    EXPECT_EQ(GetSubjectDisplayName(GetOriginatingClient(Chain(100))), L"client");
    EXPECT_EQ(CodeOf([] { GetOriginatingClient(Chain(101)); }), HResultFromWin32(ERROR_CIRCULAR_DEPENDENCY));
    EXPECT_TRUE(AuthTokenToString(Chain(101)).ends_with(L"'" + std::wstring(100, L']')));
}

TEST(AuthTokens, MintingResolvesGroupsOnDemandAndFreesItsHandlesOnEveryPath)
{
    const AccountsFile accounts("computer = S-1-5-21-10-20-30\ndomain CORP = S-1-5-21-1-2-3\nuser CORP\\ann = 1105\n"
                                "group CORP\\Readers = 1201\nmember CORP\\Readers = CORP\\ann\n");
    const CSid ann = LookupSidByName(L"CORP\\ann");
    EXPECT_EQ(CodeOf([&] { MakeAuthTokenBySid(ann, false); }), NotFound) << "no token manager";
    FakeTokenMgr manager;
    const NamedInstance named(L"Security.AuthTokenMgr", &manager);
    EXPECT_EQ(GetSubjectId(MakeAuthTokenBySid(ann, false)), L"win:sid=S-1-5-21-1-2-3-1105");
    const DWORD withoutGroups = manager.groupBytes;
    EXPECT_TRUE(MakeAuthTokenBySid(ann, true));
    EXPECT_GT(manager.groupBytes, withoutGroups);
    manager.failing = {L"S-1-5-21-1-2-3-1105"};
    EXPECT_EQ(CodeOf([&] { MakeAuthTokenBySid(ann, false); }), E_ACCESSDENIED);
    CSid unknown;
    AuthIdHelpers::AuthIdToSid(L"win:sid=S-1-5-21-9-9-9-9", unknown);
    EXPECT_LT(CodeOf([&] { MakeAuthTokenBySid(unknown, true); }), 0);
    EXPECT_EQ(CountAuthzContexts() + CountAuthzResourceManagers(), 0U);
}

TEST(AccessItems, HoldWhatTheCheckerGrantsTheOriginatingClient)
{
    const AccountsFile accounts("computer = S-1-5-21-10-20-30\n");
    FakePermissionsChecker checker;
    const auto item = [&](const KelNodePtr& token, const wchar_t* fallback = L"") {
        const KelNodePtr made = MakeAccessInfoForToken(token, L"ViewReports", fallback);
        return made ? Describe(MakeTestList({made}))[0] : L"<none>";
    };
    const KelNodePtr ann = MakeToken(L"win:sid=S-1-5-21-1-2-3-4", L"CORP\\ann", {}, L"OnBehalfOfClient");
    EXPECT_EQ(CodeOf([&] { item(ann); }), NotFound) << "no checker";
    const NamedInstance named(L"Security.PermissionsChecker", &checker);
    EXPECT_EQ(item(ann), L"<none>");
    checker.grants[L"CORP\\ann"] = {L"A", L"", L"B"};
    EXPECT_EQ(item(ann), L"CORP\\ann(A,B)");
    EXPECT_EQ(item(MakeToken(L"svc", L"Portal", ann)), L"CORP\\ann(A,B)");
    checker.grants[L"CORP\\ann"] = {L"A", L"-", L"B"};
    EXPECT_EQ(item(ann), L"CORP\\ann") << "a container without identifier widens the answer to all";
    checker.grants[L"CORP\\ann"] = {L""};
    EXPECT_EQ(item(ann), L"<none>");

    checker.grants = {{L"same", {}}, {L"", {}}, {L"sys", {}}};
    EXPECT_EQ(item(MakeToken(L"same", L"same"), L"CORP\\fallback"), L"CORP\\fallback");
    EXPECT_EQ(item(MakeToken(L"same", L"same")), L"same") << "no fallback";
    EXPECT_EQ(item(MakeToken(L"id", L""), L"CORP\\fallback"), L"") << "empty, but not equal to the id";
    EXPECT_EQ(item(MakeToken(L"win:sid=S-1-5-18", L"sys")), L"sys!");
    checker.failing = {L"sys"};
    EXPECT_EQ(CodeOf([&] { item(MakeToken(L"x", L"sys")); }), E_ACCESSDENIED);
}
