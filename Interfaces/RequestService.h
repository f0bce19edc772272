// A service that answers requests: offered by the module (access to reports is prepared) and called by it (the host's
// settings-management service).
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

struct IRequestService : IComponentBase
{
    static constexpr GUID Iid{0xA3A15500, 0x301B, 0x4D78, {0xB4, 0x15, 0x14, 0xE2, 0xA6, 0x73, 0x99, 0xF3}};

    // Serves one request on the calling thread. `response` receives a node owned by the caller, or null when the
    // service has no reply body. E_POINTER when either argument is null.
    virtual HRESULT ProcessRequest(IKelNode* request, IKelNode** response) = 0;
};
