#include "Subsystems/ManagementService/Common/ReportingSettingsModifySink.h"

#include "Common/ErrorHandling/Operation.h"

namespace ManagementService
{

HRESULT CReportingSettingsModifySink::OnModified(std::int32_t settingsType, std::int32_t value, IKelNode* settings)
{
    return Boundary(L"ManagementService::CReportingSettingsModifySink::OnModified", [&] {
        CheckPointer(settings);
        m_callback(settingsType, value, KelNodePtr::AddRef(settings));
    });
}

} // namespace ManagementService
