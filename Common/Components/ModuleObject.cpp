#include "Common/Components/ModuleObject.h"

#include "Common/Components/DbgAliveObjectsTracker.h"
#include "Common/Components/InterfaceLookup.h"
#include "Common/Foundation/Singleton.h"

#include <new>

ModuleObject& ModuleObject::Instance() noexcept
{
    return Singleton<ModuleObject>::Instance();
}

HRESULT ModuleObject::QueryInterface(REFIID iid, void** out)
{
    return LookUpInterface(*this, InterfaceList<IComponentsModule>(), iid, out);
}

HRESULT ModuleObject::ReportAliveObjects()
try {
    DbgAliveObjectsTracker::Instance().Report();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT ModuleObject::IsLocked(BOOL* locked)
{
    if (!locked)
        return E_POINTER;
    *locked = m_objects != 0;
    return S_OK;
}

HRESULT ModuleObject::CreateInstance(REFCLSID clsid, REFIID iid, void** out)
{
    ComponentCreator creator = nullptr;
    {
        const MutexLock lock(m_lock);
        if (const ComponentClassRegistration* const entry = *Find(clsid))
            creator = entry->m_creator;
    }
    return creator ? creator(iid, out) : REGDB_E_CLASSNOTREG;
}

ComponentClassRegistration** ModuleObject::Find(REFCLSID clsid)
{
    ComponentClassRegistration** link = &m_classes;
    while (*link && !((*link)->m_clsid == clsid))
        link = &(*link)->m_next;
    return link;
}

void ModuleObject::Register(ComponentClassRegistration& entry)
{
    const MutexLock lock(m_lock);
    if (ComponentClassRegistration** const link = Find(entry.m_clsid); !*link)
        *link = &entry;
}

void ModuleObject::Unregister(REFCLSID clsid)
{
    const MutexLock lock(m_lock);
    if (ComponentClassRegistration** const link = Find(clsid); *link)
        *link = (*link)->m_next;
}

ComponentClassRegistration::ComponentClassRegistration(REFCLSID clsid, ComponentCreator creator) noexcept
    : m_clsid(clsid), m_creator(creator)
{
    ModuleObject::Instance().Register(*this);
}

ComponentClassRegistration::~ComponentClassRegistration()
{
    ModuleObject::Instance().Unregister(m_clsid);
}
