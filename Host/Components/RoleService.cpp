#include "Host/Components/RoleService.h"

#include "Host/Components/NodeAccess.h"
#include "Host/Support/Failure.h"

namespace Host
{

namespace
{

constexpr Refusal Refuse{L"Settings-management gate"};

std::wstring RequiredText(IKelNode* request, const wchar_t* name)
{
    std::wstring text = ReadText(request, name).value_or(L"");
    if (text.empty())
        Refuse(E_INVALIDARG, std::wstring(L"the request has no '") + name + L"'");
    return text;
}

} // namespace

HRESULT RoleService::ProcessRequest(IKelNode* request, IKelNode** response)
{
    return Boundary([=, this] {
        if (!request || !response)
            Refuse(E_POINTER, L"no request or no place for the response (a null pointer)");
        if (NodeType(request) != L"SSRSSettingsAdjustRequest")
            Refuse(E_INVALIDARG, L"unknown request '" + NodeType(request) + L"', expected 'SSRSSettingsAdjustRequest'");
        const std::wstring reportServer = RequiredText(request, L"ReportServerUrl");
        const std::wstring account = RequiredText(request, L"DestUserName");
        RequiredText(request, L"ReportServerUserName");
        if (!HasAttribute(request, L"ReportServerPassword"))
            Refuse(E_INVALIDARG, L"the request has no 'ReportServerPassword'");

        const std::optional<Fault> fault = m_faults.Next(account, account);
        if (fault && fault->form == FaultForm::Call)
            Refuse(HResultFromWin32(RPC_S_SERVER_UNAVAILABLE), fault->text);
        const HRESULT result = fault ? E_ACCESSDENIED : S_OK;
        NodeHandle answer = CreateNode(L"SSRSSettingsAdjustResponse", nullptr);
        SetAttribute(answer.Get(), L"AdjustResult", std::int32_t{result});
        if (fault && fault->form == FaultForm::Result)
            SetAttribute(answer.Get(), L"ErrorSerialized", FailureText(result, fault->text) + L" [SettingsGate]");
        if (!fault)
            Grant(reportServer, account);
        *response = answer.Detach();
        return S_OK;
    });
}

void RoleService::Grant(const std::wstring& reportServer, const std::wstring& account)
{
    try {
        m_database->GrantRole(reportServer, account);
    } catch (const Failure& failure) {
        m_faults.CountFailure(failure.text);
        throw;
    }
}

HRESULT ServiceClient::GetService(const wchar_t* serviceName, std::uint32_t reserved, REFIID iid, void** out)
{
    return Boundary([&] {
        if (!serviceName || !out)
            throw Failure{E_POINTER, L"Service client: no service name or no place for the service (a null pointer)"};
        if (reserved != 0)
            throw Failure{E_INVALIDARG, L"Service client: the reserved argument of GetService is not 0"};
        if (serviceName != std::wstring_view(RoleService::ServiceName))
            throw Failure{HResultFromWin32(ERROR_NOT_FOUND),
                          std::wstring(L"Service client: there is no service '") + serviceName + L"'"};
        return m_gate->QueryInterface(iid, out);
    });
}

} // namespace Host
