// What tests can ask of the node library beyond its contract: is anything left over? The counts are the process's.
// Any thread.
#pragma once

#include "Platform/Types.h"

extern "C"
{
    // Nodes alive.
    uint64_t NodwellLiveNodes();
    // Handles that have been handed out and not been closed.
    uint64_t NodwellOpenHandles();
}
