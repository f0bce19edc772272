// The module object: what the host reaches through the module's one export.
#pragma once

#include "Common/Foundation/Guid.h"
#include "Common/Foundation/Mutex.h"
#include "Interfaces/ComponentsModule.h"

#include <atomic>

// Builds a component and hands out one of its interfaces with one reference.
using ComponentCreator = HRESULT (*)(REFIID iid, void** out);

// Keeps a class in the module object's table while it lives, and is itself the table's entry: registering needs no
// memory. A class that is registered already keeps its creator; the end of either registration removes the class.
class ComponentClassRegistration
{
public:
    ComponentClassRegistration(REFCLSID clsid, ComponentCreator creator) noexcept;
    ~ComponentClassRegistration();
    ComponentClassRegistration(const ComponentClassRegistration&) = delete;
    ComponentClassRegistration& operator=(const ComponentClassRegistration&) = delete;

private:
    friend class ModuleObject;

    const GUID m_clsid;
    const ComponentCreator m_creator;
    ComponentClassRegistration* m_next = nullptr; // guarded by the module object's lock
};

// Thread-safe; one per process, alive while the module is loaded.
class ModuleObject final : public IComponentsModule
{
public:
    static ModuleObject& Instance() noexcept;

    ULONG AddRef() override { return 0xFFFFFFFF; }
    ULONG Release() override { return 0xFFFFFFFF; }
    HRESULT QueryInterface(REFIID iid, void** out) override;
    HRESULT Initialize() override { return S_OK; }
    HRESULT ReportAliveObjects() override;
    ULONG Lock() override { return ++m_objects; }
    ULONG Unlock() override { return --m_objects; }
    HRESULT IsLocked(BOOL* locked) override;
    HRESULT CreateInstance(REFCLSID clsid, REFIID iid, void** out) override;

private:
    friend class ComponentClassRegistration;

    // The link that leads to the entry of the class, or the last, empty one.
    ComponentClassRegistration** Find(REFCLSID clsid) REQUIRES(m_lock);
    void Register(ComponentClassRegistration& entry);
    void Unregister(REFCLSID clsid);

    std::atomic<ULONG> m_objects{0};
    Mutex m_lock; // not held while a creator runs
    ComponentClassRegistration* m_classes GUARDED_BY(m_lock) = nullptr;
};
