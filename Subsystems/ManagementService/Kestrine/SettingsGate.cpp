#include "Subsystems/ManagementService/Kestrine/SettingsGate.h"

#include "Common/Components/NamedInstance.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Interfaces/ServiceClient.h"

namespace
{

constexpr wchar_t RequestType[] = L"SSRSSettingsAdjustRequest";
constexpr wchar_t Url[] = L"ReportServerUrl";
constexpr wchar_t UserName[] = L"ReportServerUserName";
constexpr wchar_t Password[] = L"ReportServerPassword";

} // namespace

ComponentPtr<IRequestService> CreateSettingsGateProxy()
{
    const auto client = GetNamedInstance<IServiceClient>(L"Core.ServiceClient");
    ComponentPtr<IRequestService> proxy;
    CheckHResult(client->GetService(L"Service.SettingsManagementGate", 0, IRequestService::Iid, proxy.OutVoid()));
    CheckPointer(proxy.Get());
    return proxy;
}

KelNodePtr MakeRequestTemplate(const KelNodePtr& settings)
{
    if (!settings)
        return {};
    std::wstring url;
    std::wstring userName;
    settings.TryGetString(Url, url);
    settings.TryGetString(UserName, userName);
    if (url.empty() || userName.empty())
        return {};
    KelNodePtr request = CreateKelNode(RequestType, RequestType);
    request.SetString(Url, url);
    request.SetString(UserName, userName);
    std::vector<std::uint8_t> password;
    std::uint16_t type = KelnEmpty;
    if (!settings.GetBinary(Password, password, type))
        ThrowHResult(HResultFromWin32(ERROR_NOT_FOUND));
    request.SetRaw(Password, type, password);
    return request;
}

void RequestRole(IRequestService& proxy, const KelNodePtr& requestTemplate, const std::wstring& accountName)
{
    const KelNodePtr request = requestTemplate.Clone(KelnWholeTree);
    request.SetString(L"DestUserName", accountName);
    KelNodePtr response;
    DropErrorInfo();
    CheckHResult(proxy.ProcessRequest(request.Get(), response.Out()));
    if (const HRES result = ReadAdjustResult(response); result.Failed())
        throw HRX(result);
}

HRES ReadAdjustResult(const KelNodePtr& response)
{
    std::int32_t code = S_OK;
    response.TryGetInt32(L"AdjustResult", code);
    // A failure takes up the thread's error information before a further reading drops it.
    HRES result = RecordHResult(code);
    std::wstring serialized;
    if (!result.Failed() || !response.TryGetString(L"ErrorSerialized", serialized))
        return result;
    RestoreErrorInfo(serialized).LeaveOnThread();
    return RecordHResult(code);
}
