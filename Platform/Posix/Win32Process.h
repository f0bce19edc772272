// The process, its computer, its debugger, and call stacks.
#pragma once

#include "Platform/Posix/Win32Types.h"

enum COMPUTER_NAME_FORMAT
{
    ComputerNameNetBIOS = 0,
};

struct OSVERSIONINFOEXW
{
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};

inline constexpr DWORD VER_MINORVERSION = 0x0001;
inline constexpr DWORD VER_MAJORVERSION = 0x0002;
inline constexpr DWORD VER_SERVICEPACKMAJOR = 0x0020;
inline constexpr BYTE VER_GREATER_EQUAL = 3;

extern "C"
{
    HANDLE GetCurrentProcess();
    HANDLE GetCurrentThread();
    DWORD GetCurrentProcessId();
    DWORD GetCurrentThreadId();
    LPWSTR GetCommandLineW();
    void Sleep(DWORD milliseconds);
    // NetBIOS form only: the host name's first label in upper case, at most 15 characters. `size` in characters; too
    // small: ERROR_MORE_DATA and the size needed, terminator included.
    BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, LPWSTR buffer, DWORD* size);
    // To standard error, as a debugger's output window.
    void OutputDebugStringW(LPCWSTR text);
    ULONGLONG VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition);
    // Answers as a Windows 10 (10.0) would, for GREATER_EQUAL conditions.
    BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* information, DWORD types, DWORDLONG mask);
    // Frame 0 is the caller. The hash is not supported (`hash` must be null).
    USHORT RtlCaptureStackBackTrace(DWORD framesToSkip, DWORD framesToCapture, PVOID* frames, DWORD* hash);
}

#define CaptureStackBackTrace RtlCaptureStackBackTrace
