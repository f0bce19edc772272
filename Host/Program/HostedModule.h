// The module in its host.
#pragma once

#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Platform/Modules.h"

#include <filesystem>

namespace Host
{

// Loads the module and unloads it again.
class HostedModule
{
public:
    // Throws Failure when `file` cannot be loaded or is no such module.
    explicit HostedModule(const std::filesystem::path& file);
    // A module that still has live objects stays loaded: they need its code.
    ~HostedModule();
    HostedModule(const HostedModule&) = delete;
    HostedModule& operator=(const HostedModule&) = delete;

    // Throws Failure.
    ComponentPtr<IConfigurableComponent> Create(REFCLSID clsid) const;

    // Has the module write its live objects to its log.
    void ReportAliveObjects() const { m_object->ReportAliveObjects(); }

    // Whether the module has live objects.
    bool IsLocked() const;

private:
    Platform::NativeModule m_library;
    IComponentsModule* m_object = nullptr; // is not counted
};

} // namespace Host
