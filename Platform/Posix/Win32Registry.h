// Registry reading. The keys come from a text file named by the environment variable KESTRINE_REGISTRY_FILE;
// Platform/Posix/Registry.cpp describes its format. No file means an empty registry.
#pragma once

#include "Platform/Posix/Win32Types.h"

struct HKEY__;
using HKEY = HKEY__*;
using REGSAM = DWORD;
using LSTATUS = LONG;

#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000001)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002)))

inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_DWORD = 4;

extern "C"
{
    LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* key); // KEY_READ only
    LSTATUS RegCloseKey(HKEY key);
    // Sizes: `nameLength` in characters without the terminator on return; `dataSize` in bytes.
    LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD* reserved, DWORD* type,
                          BYTE* data, DWORD* dataSize);
    LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize);
}
