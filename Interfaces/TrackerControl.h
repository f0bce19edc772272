// Control of the configured accounts tracker.
#pragma once

#include "Interfaces/ComponentBase.h"

struct ITrackerControl : IComponentBase
{
    static constexpr GUID Iid{0x45622F80, 0x2F68, 0x4571, {0xBC, 0xBC, 0x70, 0x65, 0x16, 0x01, 0x77, 0x1B}};

    // Ends the tracker's worker; a run in progress gives up at its next step. Does not wait for it. S_OK. The tracker
    // starts again when it is configured again.
    virtual HRESULT Stop() = 0;
};
