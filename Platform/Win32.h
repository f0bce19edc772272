// The one door to the platform. On Windows this is the SDK; elsewhere it is the subset of the SDK that this system
// uses, with the SDK's names, signatures, constants and error codes, served by the libraries in Platform/Posix.
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

// The socket headers must come before windows.h, the others after it.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <authz.h>
#include <oleauto.h>
#include <sddl.h>
#include <shlwapi.h>
// clang-format on

#else

#include "Platform/Posix/Win32Accounts.h"
#include "Platform/Posix/Win32Authz.h"
#include "Platform/Posix/Win32ErrorCodes.h"
#include "Platform/Posix/Win32ErrorInfo.h"
#include "Platform/Posix/Win32Files.h"
#include "Platform/Posix/Win32Messages.h"
#include "Platform/Posix/Win32Modules.h"
#include "Platform/Posix/Win32Paths.h"
#include "Platform/Posix/Win32Process.h"
#include "Platform/Posix/Win32Registry.h"
#include "Platform/Posix/Win32Settings.h"
#include "Platform/Posix/Win32Sockets.h"
#include "Platform/Posix/Win32Threads.h"
#include "Platform/Posix/Win32Time.h"
#include "Platform/Posix/Win32Types.h"

#endif

#include <cstdint>

// HRESULT_FROM_WIN32 as a function: 0 and what is an HRESULT already pass unchanged.
constexpr HRESULT HResultFromWin32(DWORD code)
{
    return HRESULT_FROM_WIN32(code);
}

// Hosts that none of us built rely on these widths and signs.
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(HRESULT) == 4 && HRESULT(-1) < 0, "HRESULT is signed: failures are negative");
static_assert(sizeof(GUID) == 16 && alignof(GUID) == 4);
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);
static_assert(E_ABORT < 0 && E_FAIL < 0 && E_INVALIDARG < 0 && E_NOINTERFACE < 0 && E_NOTIMPL < 0);
static_assert(E_OUTOFMEMORY < 0 && E_POINTER < 0 && E_UNEXPECTED < 0 && REGDB_E_CLASSNOTREG < 0);
static_assert(HRESULT_FROM_WIN32(ERROR_NOT_FOUND) < 0 && S_OK == 0 && S_FALSE == 1);
