#include "Interfaces/Halvex.h"

#include "Host/Halvex/Registry.h"
#include "Host/Support/Failure.h"
#include "Interfaces/ComponentPtr.h"

#include <map>
#include <mutex>
#include <string>

namespace
{

using Component = ComponentPtr<IComponentBase>;

struct Registry
{
    Component Find(const std::wstring& name)
    {
        const std::lock_guard guard(lock);
        const auto found = components.find(name);
        return found == components.end() ? nullptr : found->second;
    }

    std::mutex lock;
    // `lock`. Components are queried and released with it left; only their AddRef is called under it.
    std::map<std::wstring, Component> components;
};

// Never destroyed: at the end of the process the components' own libraries may be gone already.
Registry& Instances()
{
    static Registry& instances = *new Registry;
    return instances;
}

constexpr Host::Refusal Refuse{L"Halvex"};

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
        Refuse.IfNull(L"place for the instance", out);
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
        Refuse.IfNull(L"component", component);
        Registry& instances = Instances();
        const std::lock_guard guard(instances.lock);
        if (!instances.components.try_emplace(wanted, Component(component)).second)
            Refuse(HResultFromWin32(ERROR_ALREADY_EXISTS), L"there is an instance '" + wanted + L"' already");
    });
}

HRESULT HalvexUnregisterInstance(const wchar_t* name)
{
    return Host::Boundary([=] {
        const std::wstring wanted = ToName(name);
        Registry& instances = Instances();
        std::unique_lock guard(instances.lock);
        const auto taken = instances.components.extract(wanted); // released when the lock has been left
        guard.unlock();
        if (!taken)
            Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no instance '" + wanted + L"'");
    });
}

uint32_t HalvexInstanceCount()
{
    Registry& instances = Instances();
    const std::lock_guard guard(instances.lock);
    return static_cast<uint32_t>(instances.components.size());
}
