#include "Interfaces/Halvex.h"

#include "Host/Halvex/Registry.h"
#include "Host/Support/Boundary.h"
#include "Interfaces/ComponentPtr.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>

namespace
{

using Component = ComponentPtr<IComponentBase>;

// Components are queried and released with the lock left; only their AddRef is called under it.
class Registry
{
public:
    bool Add(const std::wstring& name, const Component& component)
    {
        const std::lock_guard guard(m_lock);
        return m_components.try_emplace(name, component).second;
    }

    // Null when there is none.
    Component Take(const std::wstring& name)
    {
        const std::lock_guard guard(m_lock);
        const auto taken = m_components.extract(name);
        return taken ? std::move(taken.mapped()) : nullptr;
    }

    Component Find(const std::wstring& name) const
    {
        const std::shared_lock guard(m_lock);
        const auto found = m_components.find(name);
        return found == m_components.end() ? nullptr : found->second;
    }

    std::size_t Count() const
    {
        const std::shared_lock guard(m_lock);
        return m_components.size();
    }

private:
    mutable std::shared_mutex m_lock;
    std::map<std::wstring, Component> m_components; // m_lock
};

// Never destroyed: at the end of the process the components' own libraries may be gone already.
Registry& Instances()
{
    static Registry& instances = *new Registry;
    return instances;
}

[[noreturn]] void Refuse(HRESULT result, const std::wstring& text)
{
    throw Host::Failure{result, L"Halvex: " + text};
}

std::wstring ToName(const wchar_t* name)
{
    if (!name)
        Refuse(E_INVALIDARG, L"no instance name (a null pointer)");
    return name;
}

} // namespace

HRESULT HxGetNamedInstance(const wchar_t* name, uint32_t flags, REFIID iid, void** out)
{
    return Host::Boundary([&] {
        const std::wstring wanted = ToName(name);
        if (flags != 0)
            Refuse(E_INVALIDARG, L"unknown flags " + std::to_wstring(flags) + L" for instance '" + wanted + L"'");
        if (!out)
            Refuse(E_POINTER, L"no place for instance '" + wanted + L"' (a null pointer)");
        const Component component = Instances().Find(wanted);
        if (!component)
            Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no instance '" + wanted + L"'");
        const HRESULT result = component->QueryInterface(iid, out);
        if (result == E_NOINTERFACE)
            Refuse(result, L"instance '" + wanted + L"' does not have the interface asked for");
        return result;
    });
}

HRESULT HalvexRegisterInstance(const wchar_t* name, IComponentBase* component)
{
    return Host::Boundary([=] {
        const std::wstring wanted = ToName(name);
        if (!component)
            Refuse(E_POINTER, L"no component for instance '" + wanted + L"' (a null pointer)");
        if (!Instances().Add(wanted, Component(component)))
            Refuse(HResultFromWin32(ERROR_ALREADY_EXISTS), L"there is an instance '" + wanted + L"' already");
        return S_OK;
    });
}

HRESULT HalvexUnregisterInstance(const wchar_t* name)
{
    return Host::Boundary([=] {
        const std::wstring wanted = ToName(name);
        if (!Instances().Take(wanted))
            Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no instance '" + wanted + L"'");
        return S_OK;
    });
}

uint32_t HalvexInstanceCount()
{
    return static_cast<uint32_t>(Instances().Count());
}
