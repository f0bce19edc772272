// Owners of platform handles.
#pragma once

#include "Platform/Win32.h"

#include <memory>
#include <type_traits>

struct CloseHandleDeleter
{
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
// A file or token handle; empty, never INVALID_HANDLE_VALUE, when there is none.
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, CloseHandleDeleter>;

struct LocalFreeDeleter
{
    void operator()(wchar_t* memory) const { LocalFree(memory); }
};
using UniqueLocalText = std::unique_ptr<wchar_t, LocalFreeDeleter>;

struct FreeLibraryDeleter
{
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using UniqueModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryDeleter>;

struct RegCloseKeyDeleter
{
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using UniqueRegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, RegCloseKeyDeleter>;

struct BstrDeleter
{
    void operator()(wchar_t* text) const { SysFreeString(text); }
};
using UniqueBstr = std::unique_ptr<wchar_t, BstrDeleter>;

// Keeps the thread's last error over a scope whose own calls may change it.
class LastErrorKeeper
{
public:
    LastErrorKeeper() = default;
    ~LastErrorKeeper() { SetLastError(m_error); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD m_error = GetLastError();
};
