// The module's classes as site files name them.
#pragma once

#include "Interfaces/ComponentsModule.h"

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
    bool required;
};

struct ModuleClass
{
    std::string name;
    GUID clsid;
    Role role;
    std::vector<Reference> references;
};

inline const std::vector<ModuleClass>& ModuleClasses()
{
    using namespace KestrineClasses;
    static const Reference updater{"ReportAccessInfoUpdater", Role::Updater, true};
    static const std::vector<ModuleClass> classes{
        {"ReportAccessInfoUpdater",
         ReportAccessInfoUpdater,
         Role::Updater,
         {{"DatabaseConnectionManager", Role::DatabaseConnectionManager, true},
          {"ReportingSettingsManager", Role::ReportingSettingsManager, true},
          {"RegisterAccessInfoSources", Role::Source, false},
          {"RegisterAccessInfoConsumers", Role::Consumer, false}}},
        {"RBACUsageTracker", RBACUsageTracker, Role::Source, {updater}},
        {"PrepareReportAccessService", PrepareReportAccessService, Role::Source, {updater}},
        {"ConfiguredAccountsTracker", ConfiguredAccountsTracker, Role::Source, {updater}},
        {"SSRSRolesUpdater", SSRSRolesUpdater, Role::Consumer, {}},
    };
    return classes;
}

} // namespace Host
