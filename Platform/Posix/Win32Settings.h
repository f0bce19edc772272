// Environment variables and INI files.
#pragma once

#include "Platform/Posix/Win32Types.h"

extern "C"
{
    DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
    BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value);
    DWORD ExpandEnvironmentStringsW(LPCWSTR source, LPWSTR buffer, DWORD size);
    // One value (section and key both given). Files are read anew on every call, as UTF-8 or, with a byte-order mark,
    // UTF-16LE. Section and key are matched without regard to case; the first match counts. A path without folder is
    // never found: it would be one in the system's folder.
    DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                                   LPCWSTR path);
}
