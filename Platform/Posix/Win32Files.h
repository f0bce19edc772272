// Files. Paths may use both kinds of slash. Supported: opening for append, writing, size, identity, directories.
// Whatever else is asked for (other access, other dispositions, templates, overlapped writes) fails with
// ERROR_NOT_SUPPORTED.
#pragma once

#include "Platform/Posix/Win32Types.h"

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(-1))

inline constexpr DWORD FILE_APPEND_DATA = 0x0004;
inline constexpr DWORD FILE_SHARE_READ = 0x0001;
inline constexpr DWORD FILE_SHARE_WRITE = 0x0002;
inline constexpr DWORD FILE_SHARE_DELETE = 0x0004;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x0080;
inline constexpr DWORD DUPLICATE_SAME_ACCESS = 0x0002;

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

struct BY_HANDLE_FILE_INFORMATION
{
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
};

extern "C"
{
    // Share mode 0 opens the file for this handle alone: other openers, and it itself where the file is open already,
    // get ERROR_SHARING_VIOLATION. Read, write and delete together share with everybody.
    HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security, DWORD disposition,
                       DWORD flagsAndAttributes, HANDLE templateFile);
    BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written, OVERLAPPED* overlapped);
    BOOL CloseHandle(HANDLE handle); // files and thread tokens
    BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE* target, DWORD access,
                         BOOL inherit, DWORD options); // files, within the current process, same access
    BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
    BOOL GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information);
    BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);
}
