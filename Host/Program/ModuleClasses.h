// The module's classes as site files name them.
#pragma once

#include "Interfaces/ComponentsModule.h"

#include <string_view>
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
    std::wstring_view attribute;
    Role role;
    bool required;
};

struct ModuleClass
{
    std::string_view name;
    GUID clsid;
    Role role;
    std::vector<Reference> references;
};

inline const std::vector<ModuleClass>& ModuleClasses()
{
    static const std::vector<ModuleClass> classes{
        {"ReportAccessInfoUpdater",
         KestrineClasses::ReportAccessInfoUpdater,
         Role::Updater,
         {{L"DatabaseConnectionManager", Role::DatabaseConnectionManager, true},
          {L"ReportingSettingsManager", Role::ReportingSettingsManager, true},
          {L"RegisterAccessInfoSources", Role::Source, false},
          {L"RegisterAccessInfoConsumers", Role::Consumer, false}}},
        {"RBACUsageTracker",
         KestrineClasses::RBACUsageTracker,
         Role::Source,
         {{L"ReportAccessInfoUpdater", Role::Updater, true}}},
    };
    return classes;
}

} // namespace Host
