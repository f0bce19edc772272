// The platform's basic types and error codes: all that the interfaces with the host need of it. On Windows they are the
// SDK's.
#pragma once

#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0602
#endif
#include <windows.h>

#else

#include "Platform/Posix/Win32ErrorCodes.h"
#include "Platform/Posix/Win32Types.h"

#endif

#include <cstdint>

// The HRESULT that stands for a system error; 0 and what is an HRESULT already pass unchanged.
constexpr HRESULT HResultFromWin32(DWORD code)
{
    constexpr DWORD win32Failure = 0x80070000;
    const auto result = static_cast<HRESULT>(code);
    return result <= 0 ? result : static_cast<HRESULT>((code & 0xFFFF) | win32Failure);
}

// Hosts that none of us built rely on these widths and signs.
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(HRESULT) == 4 && HRESULT(-1) < 0, "HRESULT is signed: failures are negative");
static_assert(sizeof(GUID) == 16 && alignof(GUID) == 4);
static_assert(E_ABORT < 0 && E_FAIL < 0 && E_INVALIDARG < 0 && E_NOINTERFACE < 0 && E_NOTIMPL < 0);
static_assert(E_OUTOFMEMORY < 0 && E_POINTER < 0 && E_UNEXPECTED < 0 && REGDB_E_CLASSNOTREG < 0);
static_assert(HResultFromWin32(ERROR_NOT_FOUND) < 0 && S_OK == 0 && S_FALSE == 1);
