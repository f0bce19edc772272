#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"

#include <algorithm>

HRESULT CPrepareReportAccessService::Configure(IKelNode* config)
{
    return Operation(L"CPrepareReportAccessService::Configure", [&] {
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        Settings settings = CopySettings();
        settings.updaterName = Configuration::RequiredString(configNode, L"ReportAccessInfoUpdater");
        settings.requiredPermission = Configuration::RequiredString(configNode, L"RequiredContainerPermission");
        settings.expirationTimeout =
            Configuration::ReadSeconds(configNode, L"ExpirationTimeoutS", settings.expirationTimeout);
        if (Replace(settings))
            RequestUpdate(settings.updaterName);
    });
}

// Drops what was granted under another permission. Returns whether there was any.
bool CPrepareReportAccessService::Replace(const Settings& settings)
{
    std::map<std::wstring, ClientInfo> dropped; // destroyed without the lock
    const MutexLock lock(m_lock);
    if (settings.requiredPermission != m_settings.requiredPermission)
        dropped.swap(m_clients);
    m_settings = settings;
    return std::any_of(dropped.begin(), dropped.end(),
                       [](const auto& each) { return static_cast<bool>(each.second.accessInfo); });
}

// The settings are in force already: without the updater, its own interval brings the table in line.
void CPrepareReportAccessService::RequestUpdate(const std::wstring& updaterName)
{
    try {
        CheckHResult(GetNamedInstance<IAccessInfoUpdater>(updaterName)->UpdateAccessInfo(this, FALSE));
    } catch (const HRX& e) {
        LOG_WARN(L"Requesting an update without the dropped access info failed: " << e);
    }
}

CPrepareReportAccessService::Settings CPrepareReportAccessService::CopySettings()
{
    const MutexLock lock(m_lock);
    return m_settings;
}

HRESULT CPrepareReportAccessService::ProcessRequest(IKelNode* request, IKelNode** response)
{
    return Operation(L"CPrepareReportAccessService::ProcessRequest", [&] {
        CheckPointer(request);
        CheckPointer(response);
        *response = nullptr;
        const KelNodePtr token = GetCurrentAuthToken(false);
        LOG_DBG(L"AuthToken: " << token);
        if (token) {
            bool wait = false;
            KelNodePtr::AddRef(request).TryGetBool(L"WaitForSync", wait);
            const bool changed = UpdateClientInfo(token);
            if (changed || wait) {
                const auto updater = GetNamedInstance<IAccessInfoUpdater>(CopySettings().updaterName);
                CheckHResult(updater->UpdateAccessInfo(this, wait));
            }
        }
    });
}

// Returns whether the client's access info has changed.
bool CPrepareReportAccessService::UpdateClientInfo(const KelNodePtr& token)
{
    for (;;) {
        const std::wstring permission = CopySettings().requiredPermission;
        const KelNodePtr accessInfo = MakeAccessInfoForToken(token, permission, {});
        const std::wstring key = GetSubjectId(GetOriginatingClient(token));

        const MutexLock lock(m_lock);
        // An answer for a permission that was replaced while the checker was asked counts for nothing.
        if (permission == m_settings.requiredPermission)
            return Store(key, ClientInfo{SteadyClock::now(), accessInfo, token});
    }
}

// Returns whether the client's access info has changed.
bool CPrepareReportAccessService::Store(const std::wstring& key, ClientInfo info)
{
    constexpr std::uint32_t contentInAnyOrder = KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder;
    const auto known = m_clients.find(key);
    const KelNodePtr stored = known == m_clients.end() ? KelNodePtr() : known->second.accessInfo;
    const bool changed = !KelNodesEqualOrNone(info.accessInfo, stored, contentInAnyOrder);
    m_clients.insert_or_assign(key, std::move(info));
    return changed;
}

HRESULT CPrepareReportAccessService::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CPrepareReportAccessService::GetAllowedViewers", [&] {
        AccessRights::HandOut(accessInfo, [&](const KelNodePtr& list) {
            const MutexLock lock(m_lock);
            const SteadyTime now = SteadyClock::now();
            for (auto client = m_clients.begin(); client != m_clients.end();) {
                const std::wstring& key = client->first;
                const ClientInfo& info = client->second;
                if (now - info.lastSeen > m_settings.expirationTimeout) {
                    LOG_DBG(L"Removing expired client info for: '" << key << L"'");
                    client = m_clients.erase(client);
                    continue;
                }
                LOG_DBG(L"Adding access info for '" << key << L"':" << info.accessInfo);
                if (info.accessInfo)
                    list.AddChild(info.accessInfo.Clone(KelnWholeTree));
                ++client;
            }
        });
    });
}
