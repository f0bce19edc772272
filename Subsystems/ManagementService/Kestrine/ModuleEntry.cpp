// What happens when the module is loaded and unloaded, and its one export. Static objects are constructed in the
// order in which they stand here and destroyed in reverse.
#include "Common/Diagnostics/FileLogger.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/MessageModules.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Nodes/HiddenAttributes.h"
#include "Subsystems/ManagementService/Kestrine/ConfiguredAccountsTracker.h"
#include "Subsystems/ManagementService/Kestrine/PrepareReportAccessService.h"
#include "Subsystems/ManagementService/Kestrine/RBACUsageTracker.h"
#include "Subsystems/ManagementService/Kestrine/ReportAccessInfoUpdater.h"
#include "Subsystems/ManagementService/Kestrine/SSRSRolesUpdater.h"

#include <new>

namespace
{

// What there is no memory for while the module is loaded is made on first use; the log output, which nobody uses by
// name, when the host asks for the module object.
template <class Make>
bool MakeIfMemoryAllows(Make make) noexcept
try {
    make();
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

// The module-wide objects exist before the host's first call.
const bool g_moduleWideObjects = MakeIfMemoryAllows([] {
    LogManager::Instance();
    ModuleObject::Instance();
    DbgAliveObjectsTracker::Instance();
});

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
};
const bool g_logOutput = MakeIfMemoryAllows([] { Singleton<LogOutput>::Instance(); });

// Made with the log in place, since making them may fail: the module then works without them.
const bool g_loggedObjects = MakeIfMemoryAllows([] {
    MessageModules::Instance();
    try {
        HiddenAttributes::Instance();
    } catch (const HRX& e) {
        LOG_ERR(L"Reading setting 'HiddenNodeTypeAttrs' failed: " << e
                                                                  << L"; nodes are not shown in the log until it is "
                                                                     L"mended");
    }
});

} // namespace

extern "C" HRESULT GetComponentsModuleObject(void** out)
{
    if (!g_logOutput)
        MakeIfMemoryAllows([] { Singleton<LogOutput>::Instance(); });
    return ModuleObject::Instance().QueryInterface(IComponentsModule::Iid, out);
}
