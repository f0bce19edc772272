// The binary contract's basic types and the error codes that this system names. On Windows they are the SDK's.
#pragma once

#include <cstdint>

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
#include <windef.h>
// The order counts.
#include <guiddef.h>
#include <winerror.h>

#else

using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = std::int32_t;
using HRESULT = std::int32_t;

#define TRUE 1
#define FALSE 0

struct GUID
{
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    bool operator==(const GUID&) const = default;
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const GUID&;
using REFCLSID = const GUID&;

inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_NO_DATA = 232;
inline constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr DWORD ERROR_CIRCULAR_DEPENDENCY = 1059;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_NON_DOMAIN_SID = 1258;
inline constexpr DWORD ERROR_NONE_MAPPED = 1332;
inline constexpr DWORD ERROR_INVALID_SID = 1337;
inline constexpr DWORD RPC_S_SERVER_UNAVAILABLE = 1722;
inline constexpr DWORD ERROR_INVALID_DATATYPE = 1804;
inline constexpr DWORD ERROR_INVALID_STATE = 5023;
inline constexpr DWORD WSAHOST_NOT_FOUND = 11001;
inline constexpr DWORD WSATRY_AGAIN = 11002;
inline constexpr DWORD WSANO_RECOVERY = 11003;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);

constexpr bool SUCCEEDED(HRESULT hr)
{
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr)
{
    return hr < 0;
}

#endif

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
