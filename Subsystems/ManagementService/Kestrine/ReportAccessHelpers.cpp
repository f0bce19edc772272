#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/Helpers/HostUtils.h"
#include "Interfaces/PermissionsChecker.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AccountResolution.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"

namespace
{

struct AccessibleContainers
{
    bool all = false;
    std::vector<std::wstring> listed;
};

AccessibleContainers QueryContainers(const KelNodePtr& token, const std::wstring& permission)
{
    const auto checker = GetNamedInstance<IPermissionsChecker>(L"Security.PermissionsChecker");
    std::uint32_t scope = ContainerScopeNone;
    KelNodePtr containers;
    CheckHResult(checker->GetAccessibleContainers(token.Get(), permission.c_str(), &scope, containers.Out()));
    if (scope == ContainerScopeAll)
        return {true, {}};
    AccessibleContainers accessible;
    if (scope != ContainerScopeListed)
        return accessible;
    for (const KelNodePtr& child : containers.GetChildren()) {
        std::wstring container;
        if (!child.TryGetString(L"Container", container))
            return {true, {}};
        if (!container.empty())
            accessible.listed.push_back(std::move(container));
    }
    return accessible;
}

} // namespace

KelNodePtr MakeAccessInfoForToken(const KelNodePtr& token, const std::wstring& requiredPermission,
                                  const std::wstring& fallbackName)
{
    const AccessibleContainers containers = QueryContainers(token, requiredPermission);
    if (!containers.all && containers.listed.empty())
        return {};
    KelNodePtr item = AccessRights::MakeItem();
    const KelNodePtr client = GetOriginatingClient(token);
    const std::wstring subjectId = GetSubjectId(client);
    const std::wstring displayName = GetSubjectDisplayName(client);
    const bool unresolved = displayName == subjectId;
    item.SetString(AccessRights::LogonName, unresolved && !fallbackName.empty() ? fallbackName : displayName);
    if (!containers.all)
        item.SetStringList(AccessRights::ContainerId, containers.listed);
    if (IsLocalAuthId(subjectId))
        item.SetBool(AccessRights::IsLocalOnly, true);
    return item;
}

KelNodePtr MakeFullAccessItem(const std::wstring& logonName, const CSid& sid)
{
    if (logonName.empty())
        return {};
    KelNodePtr item = AccessRights::MakeItem();
    item.SetString(AccessRights::LogonName, logonName);
    if (IsLocalAccount(sid))
        item.SetBool(AccessRights::IsLocalOnly, true);
    return item;
}

bool IsALocalComputerUser(const CSid& sid)
{
    try {
        bool same = false;
        CheckHResult(Platform::AreOfSameDomain(sid.Bytes(), GetLocalComputerSid().Bytes(), same));
        return same;
    } catch (const HRX& e) {
        LOG_INFO(L"IsALocalComputerUser('" << sid.StringForm() << L"')" << L" failed: " << e);
        return false;
    }
}

bool IsLocalAccount(const CSid& sid)
{
    return IsWellKnownServiceSid(sid) || IsALocalComputerUser(sid);
}

bool IsLocalAuthId(const std::wstring& authId)
{
    CSid sid;
    return AuthIdHelpers::AuthIdToSid(authId, sid) && IsLocalAccount(sid);
}

CSid GetLocalComputerSid()
{
    static const CSid sid = CSid::OfAccount(GetLocalComputerName());
    return sid;
}
