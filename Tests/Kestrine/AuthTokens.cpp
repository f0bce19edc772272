#include "Platform/Testing/TestAccounts.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/SecurityFakes.h"

#include <gtest/gtest.h>

TEST(AuthTokens, AreReadLenientlyAndShownInOneLine)
{
    const KelNodePtr user = MakeToken(L"win:sid=S-1-5-21-1-2-3-4", L"CORP\\ann", {}, L"OnBehalfOfClient");
    EXPECT_EQ(
        AuthTokenToString(MakeToken(L"svc", L"Portal", user)),
        L"AuthToken[AuthTokenId='id-Portal';SubjectId='svc';SubjectDisplayName='Portal';OnBehalfOf="
        L"AuthToken[AuthTokenId='id-CORP\\ann';SubjectId='win:sid=S-1-5-21-1-2-3-4';SubjectDisplayName='CORP\\ann']]");
    EXPECT_EQ(AuthTokenToString({}), L"AuthToken[<null>]");
    EXPECT_EQ(AuthTokenToString(CreateKelNode(nullptr, nullptr)),
              L"AuthToken[AuthTokenId='';SubjectId='';SubjectDisplayName='']");
    EXPECT_FALSE(GetOriginatingClient({}));
    EXPECT_EQ(CodeOf([] { GetCurrentAuthToken(true); }), NotFound) << "required, and this thread has none";

    KelNodePtr chain = MakeToken(L"s", L"client", {}, L"OnBehalfOfClient");
    for (int length = 1; length < 100; ++length)
        chain = MakeToken(L"s", L"service", chain, L"OnBehalfOfClient");
    EXPECT_EQ(GetSubjectDisplayName(GetOriginatingClient(chain)), L"client");
    chain = MakeToken(L"s", L"one too many", chain);
    EXPECT_EQ(CodeOf([&] { GetOriginatingClient(chain); }), HResultFromWin32(ERROR_CIRCULAR_DEPENDENCY));
    EXPECT_TRUE(AuthTokenToString(chain).ends_with(L"'" + std::wstring(100, L']')));
}

TEST(AccessItems, HoldWhatTheCheckerGrants)
{
    const TestAccounts accounts("computer = S-1-5-21-10-20-30\n");
    const auto item = [&](const KelNodePtr& token, const std::wstring& fallback = {}) {
        const KelNodePtr made = MakeAccessInfoForToken(token, L"ViewReports", fallback);
        return made ? Describe(MakeTestList({made}))[0] : L"<none>";
    };
    const KelNodePtr ann = MakeToken(L"id", L"ann");
    EXPECT_EQ(CodeOf([&] { item(ann); }), NotFound) << "no checker";
    Named<FakePermissionsChecker> checker(L"Security.PermissionsChecker");
    EXPECT_EQ(item(ann), L"<none>");
    const struct
    {
        Texts granted;
        std::wstring id, name, fallback, item;
    } cases[] = {
        {{L"A", L"", L"B"}, L"id", L"ann", L"", L"ann(A,B)"},
        {{L"A", L"-", L"B"}, L"id", L"ann", L"", L"ann"}, // one without identifier widens the answer to all
        {{L""}, L"id", L"ann", L"", L"<none>"},
        {{}, L"same", L"same", L"CORP\\fallback", L"CORP\\fallback"},
        {{}, L"same", L"same", L"", L"same"},
        {{}, L"id", L"ann", L"CORP\\fallback", L"ann"},
        {{}, L"id", L"", L"CORP\\fallback", L""}, // empty, but not equal to the id
        {{}, L"win:sid=S-1-5-18", L"sys", L"", L"sys!"},
    };
    for (const auto& each : cases) {
        checker.grants = {{each.name, each.granted}};
        const KelNodePtr client = MakeToken(each.id, each.name, {}, L"OnBehalfOfClient");
        const KelNodePtr service = MakeToken(L"svc", L"Portal", client);
        for (const KelNodePtr& token : {client, service}) {
            EXPECT_EQ(item(token, each.fallback), each.item);
            EXPECT_EQ(checker.lastToken, token) << "the checker sees the whole chain";
        }
    }
}
