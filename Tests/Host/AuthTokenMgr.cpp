#include "Host/Components/AuthTokenMgr.h"

#include "Platform/Testing/TestAccounts.h"
#include "Tests/Host/NodwellFixture.h"

#include <gmock/gmock.h>

using Host::MakeComponent;
using testing::EndsWith;

using AuthTokens = NodwellTest;

TEST_F(AuthTokens, SayWhoTheirSubjectIsAndExpire)
{
    constexpr wchar_t Ann[] = L"S-1-5-21-4-5-6-1001";
    const TestAccounts accounts("domain D = S-1-5-21-4-5-6\nuser D\\ann = 1001\nuser D\\bob = 1002\n"
                                "group D\\staff = 1003\nmember D\\staff = D\\ann\n");
    const auto tokens = MakeComponent<Host::AuthTokenMgr>(std::chrono::duration<double>(3600), true);
    const NodeHandle token = tokens->MakeRequestToken(Ann, {L"S-1-5-21-4-5-6-1002"});
    const NodeHandle client = token.FindChild(L"OnBehalfOfClient");
    EXPECT_EQ(token.ReadText(L"SubjectDisplayName"), L"D\\bob");
    EXPECT_EQ(client.ReadText(L"SubjectId"), std::wstring(L"win:sid=") + Ann);
    EXPECT_THAT(client.ReadTextList(L"Groups"), testing::Contains(L"S-1-5-21-4-5-6-1003"));
    const NodeHandle stranger = tokens->MakeRequestToken(L"S-1-5-21-9-9-9-9", {});
    EXPECT_EQ(stranger.ReadText(L"SubjectDisplayName"), L"win:sid=S-1-5-21-9-9-9-9");

    const auto isExpired = [](const auto& manager, const NodeHandle& asked) {
        BOOL expired = 7;
        const HRESULT result = manager->IsAuthTokenExpired(asked.Get(), &expired);
        return FAILED(result) ? result : HRESULT{expired};
    };
    tokens->Expire(Ann);
    EXPECT_EQ(isExpired(tokens, client), TRUE);
    EXPECT_EQ(isExpired(tokens, token), FALSE);
    EXPECT_EQ(isExpired(tokens, tokens->MakeRequestToken(Ann, {})), FALSE);
    const auto brief = MakeComponent<Host::AuthTokenMgr>(std::chrono::duration<double>(0), false);
    const NodeHandle foreign = brief->MakeRequestToken(Ann, {});
    EXPECT_EQ(isExpired(brief, foreign), TRUE);
    EXPECT_EQ(isExpired(tokens, foreign), E_INVALIDARG);
    EXPECT_THAT(TakeErrorText(), EndsWith(L"was not minted here"));
}
