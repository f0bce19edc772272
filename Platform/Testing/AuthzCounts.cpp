#include "Platform/Testing/AuthzCounts.h"

#ifdef _WIN32

#include <stdexcept>
#include <windows.h>

unsigned CountAuthzContexts()
{
    const FARPROC count = GetProcAddress(LoadLibraryW(L"authz.dll"), "AuthzTestLiveHandles");
    if (!count)
        throw std::runtime_error("the program needs the tests' authz.dll beside it");
    return static_cast<unsigned>(count());
}

#else

#include "Platform/Posix/LiveContexts.h"

unsigned CountAuthzContexts()
{
    return LiveClientContexts();
}

#endif
