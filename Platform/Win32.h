// The one door to the platform. On Windows this is the SDK; elsewhere it is the subset of the SDK that this system
// uses, with the SDK's names, signatures, constants and error codes, served by the libraries in Platform/Posix.
#pragma once

#include "Platform/Types.h"

#ifdef _WIN32

#include <authz.h>
#include <oleauto.h>
#include <sddl.h>
#include <shlwapi.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#else

#include "Platform/Posix/Win32Accounts.h"
#include "Platform/Posix/Win32Authz.h"
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

#endif

static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);
