// What happens when the module is loaded and unloaded, and its one export. Static objects are made in the order in
// which they stand here and go in reverse.
#include "Common/Diagnostics/Banner.h"
#include "Common/Diagnostics/FileLogger.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/MessageModules.h"
#include "Common/Nodes/HiddenAttributes.h"
#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"
#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"
#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"

namespace
{

// The module-wide objects exist before the host's first call.
struct ModuleWideObjects
{
    ModuleWideObjects()
    {
        LogManager::Instance();
        ModuleObject::Instance();
        DbgAliveObjectsTracker::Instance();
    }
} g_moduleWideObjects;

template <class T>
struct Registration : ComponentClassRegistration
{
    explicit Registration(REFCLSID clsid) : ComponentClassRegistration(clsid, &CComponentObject<T>::Create) {}
};

const Registration<CPrepareReportAccessService>
    g_prepareReportAccessService(KestrineClasses::PrepareReportAccessService);
const Registration<CRBACUsageTracker> g_rbacUsageTracker(KestrineClasses::RBACUsageTracker);
const Registration<CReportAccessInfoUpdater> g_reportAccessInfoUpdater(KestrineClasses::ReportAccessInfoUpdater);
const Registration<CConfiguredAccountsTracker> g_configuredAccountsTracker(KestrineClasses::ConfiguredAccountsTracker);
const Registration<CSSRSRolesUpdater> g_ssrsRolesUpdater(KestrineClasses::SSRSRolesUpdater);

// The module's one file logger; the banner reaches the file with the first line.
class LogOutput
{
public:
    LogOutput() : m_logger(LogManager::Instance().Settings(), {}, BuildBanner({KESTRINE_VERSION}))
    {
        LogManager::Instance().AddLogger(m_logger);
    }
    ~LogOutput() { LogManager::Instance().RemoveLogger(m_logger); }

private:
    FileLogger m_logger;
} g_logOutput;

// Made with the log in place, since making them may fail: the module then works without them.
struct LoggedObjects
{
    LoggedObjects()
    {
        MessageModules::Instance();
        try {
            HiddenAttributes::Instance();
        } catch (const HRX& e) {
            LOG_ERR(L"Reading setting 'HiddenNodeTypeAttrs' failed: "
                    << e
                    << L"; nodes are not shown in the log until it is "
                       L"mended");
        }
    }
} g_loggedObjects;

} // namespace

extern "C" HRESULT GetComponentsModuleObject(void** out)
{
    return ModuleObject::Instance().QueryInterface(IComponentsModule::Iid, out);
}
