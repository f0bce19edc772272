// A thread that works for a client, for tests.
#pragma once

#ifdef _WIN32
#include <stdexcept>
#include <windows.h>
#else
#include "Platform/Posix/ThreadIdentity.h"
#endif

// While it lives, the calling thread acts under an identity of its own. Throws std::runtime_error when it cannot.
class ThreadIdentity
{
public:
#ifdef _WIN32
    ThreadIdentity()
    {
        if (!ImpersonateSelf(SecurityImpersonation))
            throw std::runtime_error("the thread cannot act under a token of its own");
    }
    ~ThreadIdentity()
    {
        RevertToSelf();
    }
#else
    ThreadIdentity()
    {
        Platform::threadHasIdentity = true;
    }
    ~ThreadIdentity()
    {
        Platform::threadHasIdentity = false;
    }
#endif
    ThreadIdentity(const ThreadIdentity&) = delete;
    ThreadIdentity& operator=(const ThreadIdentity&) = delete;
};
