// Error codes of the Win32 subset: those that the layer reports or that this system tests for.
#pragma once

#include "Platform/Posix/Win32Types.h"

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_HANDLE_DISK_FULL = 39;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_WORK_DONE = 235;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr DWORD ERROR_NO_TOKEN = 1008;
inline constexpr DWORD ERROR_OLD_WIN_VERSION = 1150;
inline constexpr DWORD ERROR_CIRCULAR_DEPENDENCY = 1059;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_NON_DOMAIN_SID = 1258;
inline constexpr DWORD ERROR_NONE_MAPPED = 1332;
inline constexpr DWORD ERROR_INVALID_SID = 1337;
inline constexpr DWORD ERROR_TIMEOUT = 1460;
inline constexpr DWORD RPC_S_SERVER_UNAVAILABLE = 1722;
inline constexpr DWORD ERROR_INVALID_DATATYPE = 1804;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;
inline constexpr DWORD ERROR_INVALID_STATE = 5023;
inline constexpr int WSAHOST_NOT_FOUND = 11001;
inline constexpr int WSATRY_AGAIN = 11002;
inline constexpr int WSANO_RECOVERY = 11003;
inline constexpr int WSANOTINITIALISED = 10093;
inline constexpr int WSAVERNOTSUPPORTED = 10092;

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
inline constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3);

constexpr bool SUCCEEDED(HRESULT hr)
{
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr)
{
    return hr < 0;
}

extern "C"
{
    // Last error of the calling thread; one value for the process's every library, as on Windows.
    DWORD GetLastError();
    void SetLastError(DWORD code);
}
