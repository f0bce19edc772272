// Access-info source: clients that have asked for access to reports lately may view what the permissions checker grants
// them.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Foundation/Mutex.h"
#include "Common/Foundation/SteadyClock.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/RequestService.h"

#include <map>

// Requests come on many threads at once. The permissions checker and the updater are called without the lock, so that a
// request may wait for an update that asks this source.
class CPrepareReportAccessService : public CComponentRoot,
                                    public IConfigurableComponent,
                                    public IRequestService,
                                    public IAccessInfoSource
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent, IRequestService, IAccessInfoSource>;
    static constexpr char AliveTag[] = "CComponentObject<class CPrepareReportAccessService>::CComponentObject";

    HRESULT Configure(IKelNode* config) override;
    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override;
    HRESULT GetAllowedViewers(IKelNode** accessInfo) override;

private:
    struct Settings
    {
        std::wstring updaterName;
        std::wstring requiredPermission;
        std::chrono::seconds expirationTimeout{600};
    };

    struct ClientInfo
    {
        SteadyTime lastSeen;
        KelNodePtr accessInfo; // none when the client may view nothing
        KelNodePtr token;      // of the last request, as received
    };

    Settings CopySettings();
    bool Replace(const Settings& settings);
    void RequestUpdate(const std::wstring& updaterName);
    bool UpdateClientInfo(const KelNodePtr& token);
    bool Store(const std::wstring& key, ClientInfo info) REQUIRES(m_lock);

    Mutex m_lock;
    Settings m_settings GUARDED_BY(m_lock);
    std::map<std::wstring, ClientInfo> m_clients GUARDED_BY(m_lock); // by SubjectId of the originating client
};
