// The last error that a call leaves.
#pragma once

#include "Platform/Win32.h"

// 0 when the call does not set it.
template <class Call>
DWORD ErrorOf(Call call)
{
    SetLastError(0);
    call();
    return GetLastError();
}
