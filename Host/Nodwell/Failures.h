// Raising the library's failures.
#pragma once

#include "Host/Support/Boundary.h"

// Fails the running call with `result`; `text` becomes the description in the thread's error information.
[[noreturn]] inline void Refuse(HRESULT result, const std::wstring& text)
{
    throw Host::Failure{result, L"Nodwell: " + text};
}

// The answers that callers meet every day come without error information.
inline constexpr HRESULT Absent = HResultFromWin32(ERROR_NOT_FOUND);
inline constexpr HRESULT TooSmall = HResultFromWin32(ERROR_INSUFFICIENT_BUFFER);
