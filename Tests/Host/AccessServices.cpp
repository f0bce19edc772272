// What the module asks about accounts: tokens and permissions.
#include "Host/Components/Security.h"
#include "Platform/Testing/TestAccounts.h"
#include "Tests/Host/NodwellFixture.h"

#include <gmock/gmock.h>

using Host::MakeComponent;
using testing::EndsWith;

namespace
{

constexpr wchar_t Ann[] = L"S-1-5-21-4-5-6-1001";
constexpr wchar_t Bob[] = L"S-1-5-21-4-5-6-1002";
constexpr wchar_t Staff[] = L"S-1-5-21-4-5-6-1003";

class AccessServices : public NodwellTest
{
protected:
    // "none", "all" or the containers that the client may view.
    std::wstring Ask(const NodeHandle& token, const wchar_t* permission = L"View") const
    {
        uint32_t scope = 7;
        NodeHandle containers;
        if (FAILED(checker->GetAccessibleContainers(token.Get(), permission, &scope, containers.Out())))
            return TakeErrorText();
        std::wstring text = scope == ContainerScopeAll ? L"all" : scope == ContainerScopeNone ? L"none" : L"";
        for (uint64_t i = 0; containers && i < CountOf(containers); ++i)
            text += Host::ReadText(ChildAt(containers, i).Get(), L"Container").value().substr(0, 4) + L' ';
        return text;
    }

    NodeHandle Token(const wchar_t* sid, const std::vector<std::wstring>& services = {}) const
    {
        return tokens->MakeRequestToken(sid, services);
    }

    TestAccounts accounts{"domain D = S-1-5-21-4-5-6\nuser D\\ann = 1001\nuser D\\bob = 1002\ngroup D\\staff = 1003\n"
                          "member D\\staff = D\\ann\n"};
    const ComponentPtr<Host::AuthTokenMgr> tokens =
        MakeComponent<Host::AuthTokenMgr>(std::chrono::duration<double>(3600), true);
    const ComponentPtr<Host::PermissionsChecker> checker =
        MakeComponent<Host::PermissionsChecker>(std::vector<Host::Grant>{{Staff, L"View", {Ward}}});
};

} // namespace

TEST_F(AccessServices, TokensSayWhoTheirSubjectIsAndExpire)
{
    const NodeHandle token = Token(Ann, {Bob});
    const NodeHandle client = Host::FindChild(token.Get(), L"OnBehalfOfClient");
    EXPECT_EQ(Host::ReadText(token.Get(), L"SubjectDisplayName"), L"D\\bob");
    EXPECT_EQ(Host::ReadText(client.Get(), L"SubjectId"), std::wstring(L"win:sid=") + Ann);
    EXPECT_THAT(Host::ReadTextList(client.Get(), L"Groups"), testing::Contains(Staff));
    const NodeHandle stranger = Token(L"S-1-5-21-9-9-9-9");
    EXPECT_EQ(Host::ReadText(stranger.Get(), L"SubjectDisplayName"), L"win:sid=S-1-5-21-9-9-9-9");

    const auto isExpired = [](const auto& manager, const NodeHandle& asked) {
        BOOL expired = 7;
        const HRESULT result = manager->IsAuthTokenExpired(asked.Get(), &expired);
        return FAILED(result) ? result : HRESULT{expired};
    };
    tokens->Expire(Ann);
    EXPECT_EQ(isExpired(tokens, client), TRUE);
    EXPECT_EQ(isExpired(tokens, token), FALSE);
    EXPECT_EQ(isExpired(tokens, Token(Ann)), FALSE);
    const auto brief = MakeComponent<Host::AuthTokenMgr>(std::chrono::duration<double>(0), false);
    const NodeHandle foreign = brief->MakeRequestToken(Ann, {});
    EXPECT_EQ(isExpired(brief, foreign), TRUE);
    EXPECT_EQ(isExpired(tokens, foreign), E_INVALIDARG);
    EXPECT_THAT(TakeErrorText(), EndsWith(L"was not minted here"));
}

TEST_F(AccessServices, PermissionsAreTheOriginatingClientsAndItsGroups)
{
    EXPECT_EQ(Ask(Token(Ann)), L"0C8E ");
    EXPECT_EQ(Ask(Token(Ann, {Bob, Bob})), L"0C8E ");
    EXPECT_EQ(Ask(Token(Bob, {Ann})), L"none");
    checker->Add({Ann, L"View", {Clinic, Ward}});
    EXPECT_EQ(Ask(Token(Ann)), L"0C8E 7D11 ");
    checker->Revoke(Staff, {});
    checker->Add({Ann, L"View", {}});
    EXPECT_EQ(Ask(Token(Ann)), L"all");
    checker->Revoke(Ann, L"View");
    EXPECT_EQ(Ask(Token(Ann)), L"none");

    checker->Faults().Fail(Bob, {L"busy", {}});
    EXPECT_EQ(Ask(Token(Ann, {Bob})) + Ask(Token(Bob)), L"noneD\\bob: busy");
    checker->Faults().Fail({}, {L"down", {}});
    checker->Faults().Recover(Bob);
    EXPECT_EQ(Ask(Token(Ann)) + Ask(Token(Bob)), L"D\\ann: downD\\bob: down");
}
