// Components of the host and of other modules, by name.
#pragma once

#include "Common/ErrorHandling/NamedFailure.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/Halvex.h"

#include <string>

// Throws HRX with the host's result when there is no such component, or it lacks the interface, and E_POINTER when the
// host answers success without one; an ERR line names the component.
template <class I>
ComponentPtr<I> GetNamedInstance(const std::wstring& name)
{
    ComponentPtr<I> instance;
    NameFailure(L"Named component", name, [&] {
        CheckHResult(HxGetNamedInstance(name.c_str(), 0, I::Iid, instance.OutVoid()));
        CheckPointer(instance.Get());
    });
    return instance;
}

// Empty when the host has no component of that name; any other failure is thrown.
template <class I>
ComponentPtr<I> TryGetNamedInstance(const std::wstring& name)
{
    ComponentPtr<I> instance;
    const HRESULT hr = HxGetNamedInstance(name.c_str(), 0, I::Iid, instance.OutVoid());
    if (hr == HResultFromWin32(ERROR_NOT_FOUND))
        DropErrorInfo();
    else
        CheckHResult(hr);
    return instance;
}
