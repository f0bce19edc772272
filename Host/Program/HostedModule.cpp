#include "Host/Program/HostedModule.h"

#include "Host/Components/FailureText.h"
#include "Host/Support/Boundary.h"
#include "Host/Support/PathText.h"

namespace Host
{

HostedModule::HostedModule(const std::filesystem::path& file)
{
    const std::wstring path = PathText(std::filesystem::absolute(file));
    m_library.reset(LoadLibraryExW(path.c_str(), nullptr, 0));
    if (!m_library) {
        const DWORD error = GetLastError();
        throw Failure{HResultFromWin32(error),
                      L"cannot load the module '" + path + L"' (error " + std::to_wstring(error) + L")"};
    }
    const auto address = reinterpret_cast<void*>(GetProcAddress(m_library.get(), "GetComponentsModuleObject"));
    const auto getModuleObject = reinterpret_cast<GetComponentsModuleObjectFunction>(address);
    void* object = nullptr;
    if (!getModuleObject || FAILED(getModuleObject(&object)))
        throw Failure{E_NOINTERFACE, L"'" + path + L"' is no component module"};
    m_object = static_cast<IComponentsModule*>(object);
    Check(m_object->Initialize());
}

HostedModule::~HostedModule()
{
    if (m_object && IsLocked())
        static_cast<void>(m_library.release());
}

ComponentPtr<IConfigurableComponent> HostedModule::Create(REFCLSID clsid) const
{
    ComponentPtr<IConfigurableComponent> component;
    Check(m_object->CreateInstance(clsid, IConfigurableComponent::Iid, component.OutVoid()));
    return component;
}

bool HostedModule::IsLocked() const
{
    BOOL locked = TRUE;
    return FAILED(m_object->IsLocked(&locked)) || locked;
}

} // namespace Host
