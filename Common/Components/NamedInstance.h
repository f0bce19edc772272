// Components of the host and of other modules, by name.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/Halvex.h"

#include <string>

// Throws HRX with the host's result when there is no such component, or it lacks the interface.
template <class I>
ComponentPtr<I> GetNamedInstance(const std::wstring& name)
{
    ComponentPtr<I> instance;
    CheckHResult(HxGetNamedInstance(name.c_str(), 0, I::Iid, instance.OutVoid()));
    return instance;
}

// The same, but empty when the host knows no component of that name.
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
