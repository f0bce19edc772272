// Gives access to the host's services.
#pragma once

#include "Interfaces/ComponentBase.h"

// Named instance "Core.ServiceClient".
struct IServiceClient : IComponentBase
{
    static constexpr GUID Iid{0xC2B9C593, 0xBF5E, 0x42F8, {0x81, 0x29, 0x2B, 0xFD, 0x7D, 0x90, 0x0E, 0x53}};

    // Hands out the interface `iid` of the service, in this process or a proxy. `reserved`: 0.
    virtual HRESULT GetService(const wchar_t* serviceName, uint32_t reserved, REFIID iid, void** out) = 0;
};
