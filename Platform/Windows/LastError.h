// The last error as a failure, and texts that may be of any length. Internal to the platform.
#pragma once

#include "Platform/Types.h"

#include <new>
#include <string>
#include <windows.h>

namespace Platform
{

// Always a failure: a function that fails without saying why gives E_FAIL.
inline HRESULT LastErrorResult()
{
    const HRESULT result = HResultFromWin32(GetLastError());
    return result < 0 ? result : E_FAIL;
}

// Throws std::bad_alloc when the last call failed for want of memory: its empty answer must not pass for one.
inline void CheckMemory()
{
    if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
}

// A text of the system's of any length: `get` stores it in a buffer of the given size and returns its length, which is
// size - 1 or more when the buffer was too small.
template <class Get>
std::wstring ReadText(Get get)
{
    for (std::wstring text(MAX_PATH, L'\0');; text.resize(2 * text.size())) {
        SetLastError(ERROR_SUCCESS);
        const DWORD length = get(text.data(), static_cast<DWORD>(text.size()));
        if (length == 0)
            CheckMemory();
        if (length + 1 < text.size()) {
            text.resize(length);
            return text;
        }
    }
}

inline HRESULT ResultOf(BOOL done)
{
    return done ? S_OK : LastErrorResult();
}

} // namespace Platform
