// Message texts of the system and of message modules.
#pragma once

#include "Platform/Posix/Win32Types.h"

#include <cstdarg>

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x0800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

extern "C"
{
    // Supported: the flags above, with ALLOCATE_BUFFER and IGNORE_INSERTS always and exactly one source. `buffer` is
    // then the address of a pointer that receives the text; LocalFree releases it. Returns the length, or 0 and the
    // last error.
    DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer, DWORD size,
                         va_list* arguments);
    HLOCAL LocalFree(HLOCAL memory);
    LANGID GetUserDefaultLangID();
}
