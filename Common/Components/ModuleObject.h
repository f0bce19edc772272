// The module object: what the host reaches through the module's one export.
#pragma once

#include "Common/Foundation/Guid.h"
#include "Common/Foundation/Mutex.h"
#include "Interfaces/ComponentsModule.h"

#include <atomic>
#include <functional>
#include <map>

// Builds a component and hands out one of its interfaces with one reference.
using ComponentCreator = std::function<HRESULT(REFIID iid, void** out)>;

// Thread-safe; one per process, alive while the module is loaded.
class ModuleObject final : public IComponentsModule
{
public:
    static ModuleObject& Instance();

    ULONG AddRef() override { return 0xFFFFFFFF; }
    ULONG Release() override { return 0xFFFFFFFF; }
    HRESULT QueryInterface(REFIID iid, void** out) override;
    HRESULT Initialize() override { return S_OK; }
    HRESULT ReportAliveObjects() override;
    ULONG Lock() override { return ++m_objects; }
    ULONG Unlock() override { return --m_objects; }
    HRESULT IsLocked(BOOL* locked) override;
    HRESULT CreateInstance(REFCLSID clsid, REFIID iid, void** out) override;

    // A class that is registered already keeps its creator.
    void RegisterClass(REFCLSID clsid, const ComponentCreator& creator);
    void UnregisterClass(REFCLSID clsid);

private:
    std::atomic<ULONG> m_objects{0};
    Mutex m_lock; // not held while a creator runs
    std::map<GUID, ComponentCreator, GuidLess> m_classes GUARDED_BY(m_lock);
};

// Keeps a class in the module object's table while it lives.
class ComponentClassRegistration
{
public:
    ComponentClassRegistration(REFCLSID clsid, const ComponentCreator& creator);
    ~ComponentClassRegistration();
    ComponentClassRegistration(const ComponentClassRegistration&) = delete;
    ComponentClassRegistration& operator=(const ComponentClassRegistration&) = delete;

private:
    const GUID m_clsid;
};
