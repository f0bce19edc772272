#include "Platform/Testing/AuthzCounts.h"

#include "Platform/Win32.h"

#ifdef _WIN32

#include <stdexcept>

namespace
{

unsigned CallStandIn(const char* name)
{
    const FARPROC count = GetProcAddress(LoadLibraryW(L"authz.dll"), name);
    if (!count)
        throw std::runtime_error("the program needs the tests' authz.dll beside it");
    return static_cast<unsigned>(count());
}

} // namespace

unsigned CountAuthzContexts()
{
    return CallStandIn("AuthzTestLiveContexts");
}

unsigned CountAuthzResourceManagers()
{
    return CallStandIn("AuthzTestLiveResourceManagers");
}

#else

#include "Platform/Posix/AuthzCounts.h"

unsigned CountAuthzContexts()
{
    return AuthzTestLiveContexts();
}

unsigned CountAuthzResourceManagers()
{
    return AuthzTestLiveResourceManagers();
}

#endif
