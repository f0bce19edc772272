// Thread tokens (impersonation), as far as a file access needs them lifted and put back.
#pragma once

#include "Platform/Posix/Win32Types.h"

inline constexpr DWORD TOKEN_IMPERSONATE = 0x0004;

enum SECURITY_IMPERSONATION_LEVEL
{
    SecurityAnonymous = 0,
    SecurityIdentification = 1,
    SecurityImpersonation = 2,
    SecurityDelegation = 3,
};

extern "C"
{
    // A thread has no token (ERROR_NO_TOKEN) until one is set. The handle is closed with CloseHandle.
    BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL openAsSelf, HANDLE* token);
    BOOL SetThreadToken(HANDLE* thread, HANDLE token); // null thread: the calling one; null token: none
    BOOL ImpersonateSelf(SECURITY_IMPERSONATION_LEVEL level);
    BOOL RevertToSelf();
}
