#include "Host/Program/HostedModule.h"

#include "Host/Support/Failure.h"
#include "Host/Support/PathText.h"

namespace Host
{

HostedModule::HostedModule(const std::filesystem::path& file)
{
    const std::wstring path = PathText(std::filesystem::absolute(file));
    if (const HRESULT hr = Platform::NativeModule::Load(path, m_library); FAILED(hr))
        throw Failure{hr, L"cannot load the module '" + path + L"' (error " + std::to_wstring(hr & 0xFFFF) + L")"};
    const auto getModuleObject =
        reinterpret_cast<GetComponentsModuleObjectFunction>(m_library.Find("GetComponentsModuleObject"));
    void* object = nullptr;
    if (!getModuleObject || FAILED(getModuleObject(&object)))
        throw Failure{E_NOINTERFACE, L"'" + path + L"' is no component module"};
    m_object = static_cast<IComponentsModule*>(object);
    Check(m_object->Initialize());
}

HostedModule::~HostedModule()
{
    if (m_object && IsLocked())
        m_library.KeepLoaded();
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
