// Internal to the stand-in authz.dll. The SDK's header of these functions is not included: it says that they are
// imported.
#pragma once

#include "Platform/Types.h"

#include <windows.h>

extern "C"
{
    BOOL AuthzInitializeResourceManager(DWORD flags, void* accessCheck, void* computeGroups, void* freeGroups,
                                        LPCWSTR name, void** manager);
    BOOL AuthzFreeResourceManager(void* manager);
    BOOL AuthzInitializeContextFromSid(DWORD flags, PSID user, void* manager, LARGE_INTEGER* expiration,
                                       LUID identifier, void* dynamicGroupArguments, void** context);
    BOOL AuthzFreeContext(void* context);
    BOOL AuthzGetInformationFromContext(void* context, int what, DWORD size, DWORD* sizeNeeded, void* buffer);

    // Handles that have been handed out and not been freed. Any thread.
    DWORD AuthzTestLiveHandles();
}

// In place of LookupAccountNameW and LookupAccountSidW.
BOOL StandInLookupAccountName(LPCWSTR system, LPCWSTR name, PSID sid, DWORD* sidSize, LPWSTR domain, DWORD* domainSize,
                              SID_NAME_USE* use);
BOOL StandInLookupAccountSid(LPCWSTR system, PSID sid, LPWSTR name, DWORD* nameSize, LPWSTR domain, DWORD* domainSize,
                             SID_NAME_USE* use);
