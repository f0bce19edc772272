#include "Host/Components/PermissionsChecker.h"

#include "Host/Components/NodeAccess.h"
#include "Host/Support/Failure.h"

#include <set>

namespace Host
{

namespace
{

constexpr std::wstring_view SidPrefix = L"win:sid=";

NodeHandle OriginatingClient(IKelNode* token)
{
    NodeHandle client = ShareNode(token);
    while (NodeHandle next = FindChild(client.Get(), L"OnBehalfOfClient"))
        client = std::move(next);
    return client;
}

NodeHandle MakeContainerList(const std::set<std::wstring>& containers)
{
    NodeHandle list = CreateNode(L"Containers", nullptr);
    for (const std::wstring& container : containers) {
        const NodeHandle entry = CreateNode(nullptr, nullptr);
        SetAttribute(entry.Get(), L"Container", container);
        AddChild(list.Get(), entry.Get());
    }
    return list;
}

} // namespace

PermissionsChecker::PermissionsChecker(const std::vector<Grant>& grants)
{
    for (const Grant& grant : grants)
        Add(grant);
}

HRESULT PermissionsChecker::GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                                    IKelNode** containers)
{
    return Boundary([=, this] {
        if (!token || !permission || !scope || !containers)
            throw Failure{E_POINTER,
                          L"Permissions checker: a token, a permission and places for the answer are needed"};
        ++m_queries;
        const NodeHandle client = OriginatingClient(token);
        std::wstring subject = ReadText(client.Get(), L"SubjectId").value_or(L"");
        if (subject.starts_with(SidPrefix))
            subject.erase(0, SidPrefix.size());
        m_faults.Strike(subject, ReadText(client.Get(), L"SubjectDisplayName").value_or(subject));

        std::vector<std::wstring> holders = ReadTextList(client.Get(), L"Groups");
        holders.push_back(subject);
        std::set<std::wstring> listed;
        *scope = ContainerScopeNone;
        const std::lock_guard guard(m_lock);
        for (const std::wstring& holder : holders) {
            const auto found = m_grants.find({holder, permission});
            if (found == m_grants.end())
                continue;
            if (found->second.empty()) {
                *scope = ContainerScopeAll;
                return S_OK;
            }
            listed.insert(found->second.begin(), found->second.end());
        }
        if (listed.empty())
            return S_OK;
        *containers = MakeContainerList(listed).Detach();
        *scope = ContainerScopeListed;
        return S_OK;
    });
}

void PermissionsChecker::Add(const Grant& grant)
{
    const std::lock_guard guard(m_lock);
    m_grants.insert_or_assign({grant.sid, grant.permission}, grant.containers);
}

void PermissionsChecker::Revoke(const std::wstring& sid, const std::wstring& permission)
{
    const std::lock_guard guard(m_lock);
    std::erase_if(m_grants, [&](const auto& grant) {
        return grant.first.first == sid && (permission.empty() || grant.first.second == permission);
    });
}

} // namespace Host
