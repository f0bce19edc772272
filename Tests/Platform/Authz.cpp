#include "Platform/Testing/AccountsFile.h"
#include "Platform/Testing/AuthzCounts.h"
#include "Tests/Platform/SidText.h"

#include <gmock/gmock.h>

using testing::UnorderedElementsAre;

namespace
{

class Authz : public testing::Test
{
protected:
    Authz()
    {
        EXPECT_TRUE(AuthzInitializeResourceManager(AUTHZ_RM_FLAG_NO_AUDIT | AUTHZ_RM_FLAG_NO_CENTRAL_ACCESS_POLICIES,
                                                   nullptr, nullptr, nullptr, nullptr, &m_manager));
        EXPECT_EQ(CountAuthzResourceManagers(), 1U);
    }
    ~Authz() override
    {
        EXPECT_TRUE(AuthzFreeResourceManager(m_manager));
        EXPECT_EQ(CountAuthzResourceManagers(), 0U);
        EXPECT_EQ(CountAuthzContexts(), 0U);
    }

    // Returns the error.
    DWORD MakeContext(const wchar_t* sid, DWORD flags, AUTHZ_CLIENT_CONTEXT_HANDLE& context) const
    {
        return ErrorOf([&] {
            AuthzInitializeContextFromSid(flags, SidOf(sid).get(), m_manager, nullptr, LUID{}, nullptr, &context);
        });
    }

    static std::vector<BYTE> Information(AUTHZ_CLIENT_CONTEXT_HANDLE context, AUTHZ_CONTEXT_INFORMATION_CLASS which)
    {
        DWORD size = 0;
        EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(AuthzGetInformationFromContext(context, which, 0, &size, nullptr)); }),
                  DWORD{ERROR_INSUFFICIENT_BUFFER});
        std::vector<BYTE> bytes(size);
        EXPECT_FALSE(AuthzGetInformationFromContext(context, which, size - 1, &size, bytes.data()));
        EXPECT_TRUE(AuthzGetInformationFromContext(context, which, size, &size, bytes.data()));
        EXPECT_EQ(size, bytes.size());
        return bytes;
    }

    // What a context of the account tells: its SID and those of its groups.
    std::vector<std::wstring> Sids(const wchar_t* sid, DWORD flags = 0) const
    {
        AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
        EXPECT_EQ(MakeContext(sid, flags, context), 0U);
        EXPECT_EQ(CountAuthzContexts(), 1U);
        std::vector<BYTE> user = Information(context, AuthzContextInfoUserSid);
        std::vector<BYTE> groups = Information(context, AuthzContextInfoGroupsSids);
        EXPECT_TRUE(AuthzFreeContext(context));
        EXPECT_GE(groups.size(), sizeof(TOKEN_GROUPS));
        std::vector<std::wstring> texts{SidText(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid)};
        const auto* const list = reinterpret_cast<TOKEN_GROUPS*>(groups.data());
        for (DWORD i = 0; i < list->GroupCount; ++i) {
            EXPECT_TRUE(list->Groups[i].Attributes & SE_GROUP_ENABLED);
            texts.push_back(SidText(list->Groups[i].Sid));
        }
        return texts;
    }

    const AccountsFile m_accounts{
#include "Tests/Platform/AuthzEntries.inl"
    };
    AUTHZ_RESOURCE_MANAGER_HANDLE m_manager = nullptr;
};

} // namespace

TEST_F(Authz, ContextHasTheGroupsOfItsAccount)
{
    EXPECT_THAT(Sids(L"S-1-5-21-1-2-3-1101"),
                UnorderedElementsAre(L"S-1-5-21-1-2-3-1101", L"S-1-5-21-1-2-3-1201", L"S-1-5-21-1-2-3-1202",
                                     L"S-1-5-21-0-0-0-1001", L"S-1-1-0", L"S-1-5-11", L"S-1-5-32-545"));
    EXPECT_THAT(Sids(L"S-1-5-21-1-2-3-1102"),
                UnorderedElementsAre(L"S-1-5-21-1-2-3-1102", L"S-1-1-0", L"S-1-5-11", L"S-1-5-32-545"));
    EXPECT_THAT(Sids(L"S-1-5-21-1-2-3-1202"),
                UnorderedElementsAre(L"S-1-5-21-1-2-3-1202", L"S-1-5-21-1-2-3-1201", L"S-1-5-21-0-0-0-1001", L"S-1-1-0",
                                     L"S-1-5-11", L"S-1-5-32-545"))
        << "a group's own, in a circle";
}

TEST_F(Authz, ContextWithoutGroupsTakesAnySid)
{
    EXPECT_THAT(Sids(L"S-1-5-21-1-2-3-1101", AUTHZ_SKIP_TOKEN_GROUPS), UnorderedElementsAre(L"S-1-5-21-1-2-3-1101"));
    EXPECT_THAT(Sids(L"S-1-9-9", AUTHZ_SKIP_TOKEN_GROUPS), UnorderedElementsAre(L"S-1-9-9"));
}

TEST_F(Authz, UnknownAccountHasNoContext)
{
    AUTHZ_CLIENT_CONTEXT_HANDLE context = nullptr;
    EXPECT_EQ(MakeContext(L"S-1-5-21-1-2-3-1109", 0, context), DWORD{ERROR_NONE_MAPPED});
    EXPECT_EQ(context, nullptr);
    EXPECT_FALSE(AuthzFreeContext(nullptr));
}
