#include "Common/Components/ModuleObject.h"

#include "Common/Components/DbgAliveObjectsTracker.h"
#include "Common/Components/InterfaceLookup.h"
#include "Common/Foundation/Singleton.h"

ModuleObject& ModuleObject::Instance()
{
    return Singleton<ModuleObject>::Instance();
}

HRESULT ModuleObject::QueryInterface(REFIID iid, void** out)
{
    return LookUpInterface(*this, InterfaceList<IComponentsModule>(), iid, out);
}

HRESULT ModuleObject::ReportAliveObjects()
{
    DbgAliveObjectsTracker::Instance().Report();
    return S_OK;
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
    ComponentCreator creator;
    {
        const MutexLock lock(m_lock);
        if (const auto found = m_classes.find(clsid); found != m_classes.end())
            creator = found->second;
    }
    return creator ? creator(iid, out) : REGDB_E_CLASSNOTREG;
}

void ModuleObject::RegisterClass(REFCLSID clsid, const ComponentCreator& creator)
{
    const MutexLock lock(m_lock);
    m_classes.try_emplace(clsid, creator);
}

void ModuleObject::UnregisterClass(REFCLSID clsid)
{
    const MutexLock lock(m_lock);
    m_classes.erase(clsid);
}

ComponentClassRegistration::ComponentClassRegistration(REFCLSID clsid, const ComponentCreator& creator) : m_clsid(clsid)
{
    ModuleObject::Instance().RegisterClass(m_clsid, creator);
}

ComponentClassRegistration::~ComponentClassRegistration()
{
    ModuleObject::Instance().UnregisterClass(m_clsid);
}
