// The host's services, of which there is one: the settings-management gate, which gives accounts their role on the
// report server.
#pragma once

#include "Host/Components/FaultPlan.h"
#include "Host/Components/NodeHandle.h"
#include "Host/ReportingDatabase/ReportingDatabase.h"
#include "Interfaces/RequestService.h"
#include "Interfaces/ServiceClient.h"

namespace Host
{

// The client that finds the gate, and the gate. It serves requests of node type "SSRSSettingsAdjustRequest" with
// `ReportServerUrl`, `ReportServerUserName`, `DestUserName` (texts that are not empty) and `ReportServerPassword` (of
// any type): the account has the role Browser afterwards. The response has `AdjustResult` (int32, an HRESULT) and, when
// that is a failure that explains itself, `ErrorSerialized` (its full error text). Faults are by account name. Any
// thread.
class RoleService final : public Component<IServiceClient, IRequestService>
{
public:
    static constexpr wchar_t InstanceName[] = L"Core.ServiceClient";

    explicit RoleService(ComponentPtr<ReportingDatabase> database) : m_database(std::move(database)) {}

    // HResultFromWin32(ERROR_NOT_FOUND) for a service that the host does not have.
    HRESULT GetService(const wchar_t* serviceName, std::uint32_t reserved, REFIID iid, void** out) override
    {
        return Boundary([&] {
            constexpr Refusal refuse{L"Service client"};
            refuse.IfNull(L"service name, or place for the service", serviceName, out);
            if (reserved != 0)
                refuse(E_INVALIDARG, L"the reserved argument of GetService is not 0");
            if (serviceName != std::wstring_view(L"Service.SettingsManagementGate"))
                refuse(HResultFromWin32(ERROR_NOT_FOUND), std::wstring(L"there is no service '") + serviceName + L"'");
            return QueryInterface(iid, out);
        });
    }

    // E_INVALIDARG with a description for a request that lacks something; E_FAIL when the role cannot be stored.
    HRESULT ProcessRequest(IKelNode* request, IKelNode** response) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"request, or place for the response", request, response);
            const NodeHandle node = NodeHandle::Share(request);
            if (node.Type() != L"SSRSSettingsAdjustRequest")
                Refuse(E_INVALIDARG, L"unknown request '" + node.Type() + L"', expected 'SSRSSettingsAdjustRequest'");
            const std::wstring reportServer = RequiredText(node, L"ReportServerUrl");
            const std::wstring account = RequiredText(node, L"DestUserName");
            RequiredText(node, L"ReportServerUserName");
            if (!node.Has(L"ReportServerPassword"))
                Refuse(E_INVALIDARG, L"the request has no 'ReportServerPassword'");

            const std::optional<Fault> fault = m_faults.Next(account, account);
            if (fault && fault->form == FaultForm::Call)
                Refuse(HResultFromWin32(RPC_S_SERVER_UNAVAILABLE), fault->text);
            const HRESULT result = fault ? E_ACCESSDENIED : S_OK;
            NodeHandle answer = NodeHandle::Create(L"SSRSSettingsAdjustResponse", nullptr);
            answer.Set(L"AdjustResult", std::int32_t{result});
            if (fault && fault->form == FaultForm::Result)
                answer.Set(L"ErrorSerialized", FailureText(result, fault->text) + L" [SettingsGate]");
            if (!fault)
                Grant(reportServer, account);
            *response = answer.Detach();
        });
    }

    FaultPlan& Faults() { return m_faults; }

private:
    static constexpr Refusal Refuse{L"Settings-management gate"};

    static std::wstring RequiredText(const NodeHandle& request, const wchar_t* name)
    {
        std::wstring text = request.ReadText(name).value_or(L"");
        if (text.empty())
            Refuse(E_INVALIDARG, std::wstring(L"the request has no '") + name + L"'");
        return text;
    }

    void Grant(const std::wstring& reportServer, const std::wstring& account)
    {
        try {
            m_database->GrantRole(reportServer, account);
        } catch (const Failure& failure) {
            m_faults.CountFailure(failure.text);
            throw;
        }
    }

    const ComponentPtr<ReportingDatabase> m_database;
    FaultPlan m_faults;
};

} // namespace Host
