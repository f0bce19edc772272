// What clients may see.
#pragma once

#include "Host/Components/AuthTokenMgr.h"
#include "Interfaces/PermissionsChecker.h"

#include <set>

namespace Host
{

// A permission of a user or a group.
struct Grant
{
    std::wstring sid;
    std::wstring permission;
    std::vector<std::wstring> containers; // GUID texts; empty: all containers
};

// Answers for the originating client, which is at the end of a token's chain: what is granted to it and to the groups
// in its token. Names of permissions compare exactly. Faults are by SID. Any thread.
class PermissionsChecker final : public Component<IPermissionsChecker>
{
public:
    static constexpr wchar_t InstanceName[] = L"Security.PermissionsChecker";

    PermissionsChecker() = default;

    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"token, permission, or place for the answer", token, permission, scope, containers);
            ++m_queries;
            NodeHandle client = NodeHandle::Share(token);
            while (NodeHandle next = client.FindChild(AuthTokenMgr::ForwardedName))
                client = std::move(next);
            std::wstring subject = client.ReadText(L"SubjectId").value_or(L"");
            if (subject.starts_with(AuthTokenMgr::SidPrefix))
                subject.erase(0, AuthTokenMgr::SidPrefix.size());
            m_faults.Strike(subject, client.ReadText(L"SubjectDisplayName").value_or(subject));

            std::vector<std::wstring> holders = client.ReadTextList(L"Groups");
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
                    return;
                }
                listed.insert(found->second.begin(), found->second.end());
            }
            if (listed.empty())
                return;
            NodeHandle list = NodeHandle::Create(L"Containers", nullptr);
            for (const std::wstring& container : listed)
                list.AddChild(NodeHandle::Build({{}, {}, {{L"Container", container}}, {}}));
            *containers = list.Detach();
            *scope = ContainerScopeListed;
        });
    }

    // Replaces what the same permission of the same account was granted for.
    void Add(const Grant& grant)
    {
        const std::lock_guard guard(m_lock);
        m_grants.insert_or_assign({grant.sid, grant.permission}, grant.containers);
    }

    // An empty permission: all of the account's.
    void Revoke(const std::wstring& sid, const std::wstring& permission)
    {
        const std::lock_guard guard(m_lock);
        std::erase_if(m_grants, [&](const auto& grant) {
            return grant.first.first == sid && (permission.empty() || grant.first.second == permission);
        });
    }

    FaultPlan& Faults() { return m_faults; }
    std::uint64_t Queries() const { return m_queries; }

private:
    static constexpr Refusal Refuse{L"Permissions checker"};

    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_queries{0};
    std::mutex m_lock;
    // m_lock; by SID and permission
    std::map<std::pair<std::wstring, std::wstring>, std::vector<std::wstring>> m_grants;
};

} // namespace Host
