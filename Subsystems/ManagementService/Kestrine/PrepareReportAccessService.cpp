#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"

#include "Common/Components/NamedInstance.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Nodes/Configuration.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/KelNodesEqual.h"
#include "Subsystems/ManagementService/Kestrine/AccessRightsItem.h"
#include "Subsystems/ManagementService/Kestrine/AuthToken.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessHelpers.h"

HRESULT CPrepareReportAccessService::Configure(IKelNode* config)
{
    return Operation(L"CPrepareReportAccessService::Configure", [&] {
        const KelNodePtr configNode = KelNodePtr::AddRef(config);
        LOG_DBG(L"Config: " << configNode);
        Settings settings = CopySettings();
        settings.updaterName = Configuration::RequiredString(configNode, L"ReportAccessInfoUpdater");
        settings.requiredPermission = Configuration::RequiredString(configNode, L"RequiredContainerPermission");
        Configuration::ReadSeconds(configNode, L"ExpirationTimeoutS", settings.expirationTimeout);
        const MutexLock lock(m_lock);
        m_settings = std::move(settings);
    });
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
        const KelNodePtr token = GetCurrentAuthToken(false);
        LOG_DBG(L"AuthToken: " << token);
        if (token) {
            bool wait = false;
            KelNodePtr::AddRef(request).TryGetBool(L"WaitForSync", wait);
            const Settings settings = CopySettings();
            const bool changed = UpdateClientInfo(token, settings.requiredPermission);
            if (changed || wait)
                CheckHResult(GetNamedInstance<IAccessInfoUpdater>(settings.updaterName)->UpdateAccessInfo(this, wait));
        }
        *response = nullptr;
    });
}

// Returns whether the client's access info has changed.
bool CPrepareReportAccessService::UpdateClientInfo(const KelNodePtr& token, const std::wstring& requiredPermission)
{
    const KelNodePtr accessInfo = MakeAccessInfoForToken(token, requiredPermission, {});
    const std::wstring key = GetSubjectId(GetOriginatingClient(token));
    constexpr std::uint32_t contentInAnyOrder = KelIgnoreIdentity | KelCompareNames | KelIgnoreChildOrder;

    const MutexLock lock(m_lock);
    const auto known = m_clients.find(key);
    const KelNodePtr stored = known == m_clients.end() ? KelNodePtr() : known->second.accessInfo;
    const bool changed = accessInfo && stored ? !KelNodesEqual(accessInfo, stored, contentInAnyOrder)
                                              : static_cast<bool>(accessInfo) != static_cast<bool>(stored);
    m_clients.insert_or_assign(key, ClientInfo{SteadyClock::now(), accessInfo, token});
    return changed;
}

HRESULT CPrepareReportAccessService::GetAllowedViewers(IKelNode** accessInfo)
{
    return Operation(L"CPrepareReportAccessService::GetAllowedViewers", [&] {
        CheckPointer(accessInfo);
        const MutexLock lock(m_lock);
        KelNodePtr result = *accessInfo ? KelNodePtr::AddRef(*accessInfo) : AccessRights::MakeList();
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
                result.AddChild(info.accessInfo.Clone(KelnWholeTree));
            ++client;
        }
        if (!*accessInfo)
            *accessInfo = result.Detach();
    });
}
