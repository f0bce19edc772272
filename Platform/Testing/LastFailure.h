// What Platform::LastErrorKeeper keeps, for tests: the last error, natively errno.
#pragma once

#ifdef _WIN32

#include <windows.h>

inline void SetLastFailure(int code)
{
    SetLastError(static_cast<DWORD>(code));
}
inline int LastFailure()
{
    return static_cast<int>(GetLastError());
}

#else

#include <cerrno>

inline void SetLastFailure(int code)
{
    errno = code;
}
inline int LastFailure()
{
    return errno;
}

#endif
