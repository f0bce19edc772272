// Modules: native shared libraries, and message modules loaded as data. In place of a message-table image a message
// module is a UTF-8 text file here; Platform/Posix/MessageModule.h describes its format.
#pragma once

#include "Platform/Posix/Win32Types.h"

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x0002;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x0004;
inline constexpr DWORD LOAD_LIBRARY_AS_DATAFILE = 0x0002;
inline constexpr DWORD LOAD_LIBRARY_AS_IMAGE_RESOURCE = 0x0020;

using FARPROC = void (*)();

extern "C"
{
    // A null name is the process's main program, "Kernel32.dll" in any case the layer itself; no other name is found.
    HMODULE GetModuleHandleW(LPCWSTR name);
    // Supported: FROM_ADDRESS together with UNCHANGED_REFCOUNT; `address` is any address inside the module.
    BOOL GetModuleHandleExW(DWORD flags, LPCWSTR address, HMODULE* module);
    // The full path with backslashes as separators. A result of `size` characters means that the path was cut.
    DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
    // Flags 0 loads a native shared library, AS_DATAFILE | AS_IMAGE_RESOURCE a message module.
    HMODULE LoadLibraryExW(LPCWSTR path, HANDLE reserved, DWORD flags);
    BOOL FreeLibrary(HMODULE module);
    FARPROC GetProcAddress(HMODULE module, LPCSTR name);
}
