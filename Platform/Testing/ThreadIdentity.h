// A thread that works for a client, for tests.
#pragma once

#include <stdexcept>
#ifdef _WIN32
#include <windows.h>
#else
#include "Platform/Posix/TestHooks.h"
#endif

// While it lives, the calling thread acts under an identity of its own. Throws std::runtime_error when it cannot.
class ThreadIdentity
{
public:
    ThreadIdentity()
    {
#ifdef _WIN32
        if (!ImpersonateSelf(SecurityImpersonation))
            throw std::runtime_error("the thread cannot act under a token of its own");
#else
        threadHasIdentity = true;
#endif
    }
    ~ThreadIdentity()
    {
#ifdef _WIN32
        RevertToSelf();
#else
        threadHasIdentity = false;
#endif
    }
    ThreadIdentity(const ThreadIdentity&) = delete;
    ThreadIdentity& operator=(const ThreadIdentity&) = delete;
};
