// Configuration of a component, implemented by every class of the module.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

struct IConfigurableComponent : IComponentBase
{
    static constexpr GUID Iid{0x9FD0681A, 0xA35D, 0x48EF, {0xA2, 0x26, 0xDE, 0x38, 0x46, 0xE1, 0x9D, 0x38}};

    // Reads the component's settings from the attributes of `config` and starts its work. The keys of each class are
    // listed in Docs/HostIntegration.md. E_POINTER for a null node, 0x80070490 for a missing required key, or the
    // failure of whatever could not be set up. A second call re-configures the component.
    virtual HRESULT Configure(IKelNode* config) = 0;
};
