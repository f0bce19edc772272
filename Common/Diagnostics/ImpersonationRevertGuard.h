// Lets a thread that impersonates a client act as the process for a scope.
#pragma once

#include "Platform/Process.h"

// The log file belongs to the process, whoever the thread works for. When the token cannot be put back the process is
// aborted: a thread must never go on with the wrong identity.
class ImpersonationRevertGuard
{
public:
    explicit ImpersonationRevertGuard(bool enabled);
    ~ImpersonationRevertGuard();
    ImpersonationRevertGuard(const ImpersonationRevertGuard&) = delete;
    ImpersonationRevertGuard& operator=(const ImpersonationRevertGuard&) = delete;

private:
    void Revert();

    Platform::ThreadToken m_token;
    bool m_reverted = false; // the token is to be put back
};
