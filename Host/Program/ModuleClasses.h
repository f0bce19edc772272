// The module's classes as site files name them.
#pragma once

#include "Interfaces/ComponentsModule.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Host
{

// What a named component is to the components that refer to it.
enum class Role
{
    DatabaseConnectionManager,
    ReportingSettingsManager,
    Updater,
    Source,
    Consumer,
};

// An attribute of a component's configuration that names other components.
struct Reference
{
    std::string attribute;
    Role role;
};

struct ModuleClass
{
    std::string name;
    GUID clsid;
    Role role;
    std::vector<Reference> references;
};

// The schema of site files lists the names.
inline const ModuleClass& ModuleClassNamed(const std::string& name)
{
    using namespace KestrineClasses;
    static const Reference updater{"ReportAccessInfoUpdater", Role::Updater};
    static const std::vector<ModuleClass> classes{
        {"ReportAccessInfoUpdater",
         ReportAccessInfoUpdater,
         Role::Updater,
         {{"DatabaseConnectionManager", Role::DatabaseConnectionManager},
          {"ReportingSettingsManager", Role::ReportingSettingsManager},
          {"RegisterAccessInfoSources", Role::Source},
          {"RegisterAccessInfoConsumers", Role::Consumer}}},
        {"RBACUsageTracker", RBACUsageTracker, Role::Source, {updater}},
        {"PrepareReportAccessService", PrepareReportAccessService, Role::Source, {updater}},
        {"ConfiguredAccountsTracker", ConfiguredAccountsTracker, Role::Source, {updater}},
        {"SSRSRolesUpdater", SSRSRolesUpdater, Role::Consumer, {}},
    };
    return *std::find_if(classes.begin(), classes.end(), [&](const ModuleClass& each) { return each.name == name; });
}

} // namespace Host
