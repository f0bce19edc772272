// The host's services, of which there is one: the settings-management gate, which gives accounts their role on the
// report server.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/FaultPlan.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/ServiceClient.h"

namespace Host
{

// Serves requests of node type "SSRSSettingsAdjustRequest" with `ReportServerUrl`, `ReportServerUserName`,
// `DestUserName` (texts that are not empty) and `ReportServerPassword` (of any type): the account has the role Browser
// afterwards. The response has `AdjustResult` (int32, an HRESULT) and, when that is a failure that explains itself,
// `ErrorSerialized` (its full error text). Faults are by account name. Any thread.
class RoleService final : public Component<IRequestService>
{
public:
    static constexpr wchar_t ServiceName[] = L"Service.SettingsManagementGate";

    explicit RoleService(ComponentPtr<ReportingDatabase> database) : m_database(std::move(database)) {}

    // E_INVALIDARG with a description for a request that lacks something; E_FAIL when the role cannot be stored.
    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override;

    FaultPlan& Faults() { return m_faults; }

private:
    void Grant(const std::wstring& reportServer, const std::wstring& account);

    const ComponentPtr<ReportingDatabase> m_database;
    FaultPlan m_faults;
};

// Any thread.
class ServiceClient final : public Component<IServiceClient>
{
public:
    static constexpr wchar_t InstanceName[] = L"Core.ServiceClient";

    explicit ServiceClient(ComponentPtr<RoleService> gate) : m_gate(std::move(gate)) {}

    // HResultFromWin32(ERROR_NOT_FOUND) for a service that the host does not have.
    HRESULT GetService(const wchar_t* serviceName, std::uint32_t reserved, REFIID iid, void** out) override;

private:
    const ComponentPtr<RoleService> m_gate;
};

} // namespace Host
