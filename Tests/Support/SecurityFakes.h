// The host's tokens, permissions and settings-management service as a test wants them.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AuthTokens.h"
#include "Interfaces/PermissionsChecker.h"
#include "Interfaces/RequestContext.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/ServiceClient.h"
#include "Subsystems/ManagementService/Kestrine/Sid.h"
#include "Tests/Support/FakeComponent.h"

#include <functional>
#include <map>

inline KelNodePtr MakeToken(const std::wstring& subjectId, const std::wstring& displayName,
                            const KelNodePtr& onBehalfOf = {}, const wchar_t* name = L"AuthToken")
{
    KelNodePtr token = CreateKelNode(name, L"AuthToken");
    token.SetString(L"AuthTokenId", L"id-" + displayName);
    token.SetString(L"SubjectId", subjectId);
    token.SetString(L"SubjectDisplayName", displayName);
    if (onBehalfOf)
        token.AddChild(onBehalfOf);
    return token;
}

// Grants by display name; what is not listed sees nothing. An empty list of containers grants all.
struct FakePermissionsChecker : FakeComponent<IPermissionsChecker>
{
    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override
    {
        EXPECT_EQ(permission, requiredPermission);
        KelNodePtr client = KelNodePtr::AddRef(token);
        while (KelNodePtr next = client.GetChildByName(L"OnBehalfOfClient", false))
            client = next;
        const std::wstring name = client.GetString(L"SubjectDisplayName");
        if (hook)
            hook(name);
        ++asked;
        lastToken = KelNodePtr::AddRef(token);
        if (failing.contains(name))
            return E_ACCESSDENIED;
        const auto grant = grants.find(name);
        if (grant == grants.end())
            return S_OK;
        *scope = grant->second.empty() ? ContainerScopeAll : ContainerScopeListed;
        const KelNodePtr list = CreateKelNode(nullptr, nullptr);
        for (const std::wstring& container : grant->second) {
            const KelNodePtr child = CreateKelNode(nullptr, nullptr);
            if (container != L"-") // stands for a child without the attribute
                child.SetString(L"Container", container);
            list.AddChild(child);
        }
        *containers = KelNodePtr(list).Detach();
        return S_OK;
    }

    std::map<std::wstring, std::vector<std::wstring>> grants;
    std::set<std::wstring> failing;
    std::function<void(const std::wstring& name)> hook;
    std::wstring requiredPermission = L"ViewReports";
    int asked = 0;
    KelNodePtr lastToken;
};

// The token of the request that a thread serves.
struct FakeRequestContextMgr : FakeComponent<IRequestContextMgr, IRequestContext>
{
    HRESULT GetContext(std::uint32_t contextId, IRequestContext** out) override
    {
        EXPECT_EQ(contextId, 0U);
        if (noContext)
            return S_OK;
        AddRef();
        *out = this;
        return S_OK;
    }
    HRESULT GetAuthToken(IKelNode** out) override
    {
        *out = t_token ? KelNodePtr(*t_token).Detach() : nullptr;
        return S_OK;
    }

    static inline thread_local const KelNodePtr* t_token = nullptr; // borrowed
    bool noContext = false;
};

// Mints tokens whose display name is the account's name, or its SID where the test says so.
struct FakeTokenMgr : FakeComponent<IAuthTokenMgr>
{
    HRESULT MakeAuthToken(std::uint32_t kind, std::uintptr_t r1, std::uintptr_t r2, void* context,
                          IKelNode** token) override
    {
        EXPECT_EQ(kind + r1 + r2, 2U);
        Platform::Sid user;
        EXPECT_EQ(Platform::ReadClientContext(context, user, groups), S_OK);
        const std::wstring sid = CSid(user).StringForm();
        ++minted[sid];
        *token = MakeToken(L"win:sid=" + sid, names.contains(sid) ? names[sid] : L"win:sid=" + sid).Detach();
        return failing.contains(sid) ? E_ACCESSDENIED : S_OK;
    }
    HRESULT IsAuthTokenExpired(IKelNode*, BOOL* out) override
    {
        ++expiryAsked;
        *out = expired;
        return S_OK;
    }

    std::map<std::wstring, std::wstring> names; // by SID
    std::map<std::wstring, int> minted;
    std::set<std::wstring> failing;
    std::vector<Platform::Sid> groups; // of the context that was seen last
    bool expired = false;
    int expiryAsked = 0;
};

// "Core.ServiceClient" and the service behind it.
struct FakeSettingsGate : FakeComponent<IServiceClient, IRequestService>
{
    HRESULT GetService(const wchar_t* name, std::uint32_t reserved, REFIID iid, void** out) override
    {
        EXPECT_STREQ(name, L"Service.SettingsManagementGate");
        EXPECT_EQ(reserved, 0U);
        ++proxies;
        return serviceResult != S_OK ? serviceResult : QueryInterface(iid, out);
    }
    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override
    {
        const KelNodePtr node = KelNodePtr::AddRef(request);
        const std::wstring account = node.GetString(L"DestUserName");
        requests.push_back(account);
        lastRequest = node.Clone(KelnWholeTree);
        if (hook)
            hook(account);
        return answer(account, response);
    }

    std::vector<std::wstring> requests;
    KelNodePtr lastRequest;
    std::function<void(const std::wstring& account)> hook;
    // By default every adjustment succeeds.
    std::function<HRESULT(const std::wstring& account, IKelNode** response)> answer = [](const std::wstring&,
                                                                                         IKelNode** response) {
        *response = CreateKelNode(nullptr, nullptr).Detach();
        return S_OK;
    };
    HRESULT serviceResult = S_OK; // another success comes without a service
    int proxies = 0;
};
