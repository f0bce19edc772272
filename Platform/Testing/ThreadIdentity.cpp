#include "Platform/Testing/ThreadIdentity.h"

#ifdef _WIN32

#include <stdexcept>
#include <windows.h>

ThreadIdentity::ThreadIdentity()
{
    if (!ImpersonateSelf(SecurityImpersonation))
        throw std::runtime_error("the thread cannot act under a token of its own");
}

ThreadIdentity::~ThreadIdentity()
{
    RevertToSelf();
}

#else

#include "Platform/Posix/ThreadIdentity.h"

ThreadIdentity::ThreadIdentity()
{
    Platform::threadHasIdentity = true;
}

ThreadIdentity::~ThreadIdentity()
{
    Platform::threadHasIdentity = false;
}

#endif
