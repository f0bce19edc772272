// What tests can ask of the node library beyond its contract: is anything left over, and what if a call fails? The
// counts and the planned failure are the process's. Any thread.
#pragma once

#include "Platform/Types.h"

extern "C"
{
    // Nodes alive.
    uint64_t NodwellLiveNodes();
    // Handles that have been handed out and not been closed.
    uint64_t NodwellOpenHandles();

    // Makes a coming Keln* call fail with `result` without doing anything: the `countdown`-th from now on, 1 being the
    // next, and with `sticky` every one after it. KelnCloseNodeHandle and KelnCloseSerializationContext do not
    // count and do not fail. 0 ends it.
    void NodwellFailCall(uint64_t countdown, HRESULT result, int sticky);
    // Calls that failed so since the last NodwellFailCall.
    uint64_t NodwellFaultsFired();
}
