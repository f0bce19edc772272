// The last error as a failure. Internal to the platform.
#pragma once

#include "Platform/Types.h"

#include <new>
#include <windows.h>

namespace Platform
{

// Always a failure: a function that fails without saying why gives E_FAIL.
inline HRESULT LastErrorResult()
{
    const HRESULT result = HResultFromWin32(GetLastError());
    return result < 0 ? result : E_FAIL;
}

// Throws std::bad_alloc when the last call failed for want of memory: its empty answer must not pass for one.
inline void CheckMemory()
{
    if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
}

inline HRESULT ResultOf(BOOL done)
{
    return done ? S_OK : LastErrorResult();
}

} // namespace Platform
