// The interface lookup that serves every object of the module.
#pragma once

#include "Interfaces/ComponentBase.h"

// A class names its interfaces once, in the order in which they are tested:
//     using Interfaces = InterfaceList<IConfigurableComponent, IAccessInfoSource>;
template <class First, class... Rest>
struct InterfaceList
{};

// A host written in C may pass null for a reference; the compiler must not conclude that it cannot.
inline bool IsNull(REFIID iid)
{
    const GUID* address = &iid;
    asm("" : "+r"(address));
    return address == nullptr;
}

// Stores the interface without adding a reference. IComponentBase is tested first and is the first interface's base.
// E_INVALIDARG when either argument is null, E_NOINTERFACE when the object does not have the interface.
template <class Object, class First, class... Rest>
HRESULT LookUpInterface(Object& object, InterfaceList<First, Rest...>, REFIID iid, void** out)
{
    if (IsNull(iid) || !out)
        return E_INVALIDARG;
    void* found = nullptr;
    if (iid == IComponentBase::Iid || iid == First::Iid)
        found = static_cast<First*>(&object);
    else
        ((iid == Rest::Iid ? (found = static_cast<Rest*>(&object)) : nullptr), ...);
    if (!found)
        return E_NOINTERFACE;
    *out = found;
    return S_OK;
}
