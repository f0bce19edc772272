// How the layer's functions fail: with an error code, never with an exception. Internal to the layer.
#pragma once

#include "Platform/Posix/Win32ErrorCodes.h"

#include <string>

// Sets the last error and returns what the caller returns on failure.
template <class Result>
Result Fail(DWORD code, Result result)
{
    SetLastError(code);
    return result;
}
inline BOOL Fail(DWORD code)
{
    return Fail(code, FALSE);
}

// The error code of the exception that is being handled.
DWORD ExceptionCode() noexcept;

// The error code of a failed system call; `path`, if not empty, is what the call was about: a missing folder on the way
// to it is told from a missing file.
DWORD ErrorFromErrno(int error, const std::string& path = {});
