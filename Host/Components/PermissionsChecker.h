// The permissions checker of the reference host.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/FaultPlan.h"
#include "Interfaces/PermissionsChecker.h"

#include <utility>
#include <vector>

namespace Host
{

// A permission of a user or a group.
struct Grant
{
    std::wstring sid;
    std::wstring permission;
    std::vector<std::wstring> containers; // GUID texts; empty: all containers
};

// Answers for the originating client at the end of a token's chain: what is granted to it and to the groups that its
// token carries. Names of permissions compare exactly. Faults are by SID. Any thread.
class PermissionsChecker final : public Component<IPermissionsChecker>
{
public:
    static constexpr wchar_t InstanceName[] = L"Security.PermissionsChecker";

    explicit PermissionsChecker(const std::vector<Grant>& grants);

    HRESULT GetAccessibleContainers(IKelNode* token, const wchar_t* permission, std::uint32_t* scope,
                                    IKelNode** containers) override;

    // Replaces what the same permission of the same account was granted for.
    void Add(const Grant& grant);
    // An empty permission: all of the account's.
    void Revoke(const std::wstring& sid, const std::wstring& permission);

    FaultPlan& Faults() { return m_faults; }
    std::uint64_t Queries() const { return m_queries; }

private:
    FaultPlan m_faults;
    std::atomic<std::uint64_t> m_queries{0};
    std::mutex m_lock;
    // m_lock; by SID and permission
    std::map<std::pair<std::wstring, std::wstring>, std::vector<std::wstring>> m_grants;
};

} // namespace Host
