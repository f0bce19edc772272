// The sink that is notified of changed reporting settings and forwards them to a callback of its creator.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ReportingSettings.h"

#include <functional>

namespace ManagementService
{

class CReportingSettingsModifySink : public CComponentRoot, public IReportingSettingsModifySink
{
public:
    using Interfaces = InterfaceList<IReportingSettingsModifySink>;
    static constexpr char AliveTag[] =
        "CComponentObject<class ManagementService::CReportingSettingsModifySink>::CComponentObject";

    // Called on the notifying thread; an HRX that leaves it becomes the notification's result.
    using Callback = std::function<void(std::int32_t settingsType, std::int32_t value, const KelNodePtr& settings)>;

    explicit CReportingSettingsModifySink(Callback callback) : m_callback(std::move(callback)) {}

    HRESULT OnModified(std::int32_t settingsType, std::int32_t value, IKelNode* settings) override;

private:
    const Callback m_callback;
};

} // namespace ManagementService
