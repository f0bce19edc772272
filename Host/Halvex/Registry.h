// How host programs and tests put components under a name for HxGetNamedInstance to find. Names compare exactly. Any
// thread.
#pragma once

#include "Interfaces/ComponentBase.h"

extern "C"
{
    // Puts `component` under `name` and keeps a reference to it, until it is unregistered: what is still registered
    // when the process ends is not released. HResultFromWin32(ERROR_ALREADY_EXISTS) when the name is taken,
    // E_INVALIDARG for a null name, E_POINTER for a null component.
    HRESULT HalvexRegisterInstance(const wchar_t* name, IComponentBase* component);

    // Takes the component from under `name` and releases it. HResultFromWin32(ERROR_NOT_FOUND) when there is none,
    // E_INVALIDARG for a null name.
    HRESULT HalvexUnregisterInstance(const wchar_t* name);

    uint32_t HalvexInstanceCount();
}
