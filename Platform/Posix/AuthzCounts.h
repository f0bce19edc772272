// What a test asks about authorization handles: is one left over? Internal to the layer.
#pragma once

#include "Platform/Posix/Win32Types.h"

extern "C"
{
    // Handles that have been handed out and not been freed. Any thread.
    DWORD AuthzTestLiveContexts();
    DWORD AuthzTestLiveResourceManagers();
}
