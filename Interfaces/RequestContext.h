// Who makes the request that a thread is serving.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

struct IRequestContext : IComponentBase
{
    virtual HRESULT UnusedSlot3() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot4() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot5() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot6() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot7() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot8() { return E_NOTIMPL; }
    virtual HRESULT UnusedSlot9() { return E_NOTIMPL; }

    // The caller's auth token; success with null when the request has none.
    virtual HRESULT GetAuthToken(IKelNode** token) = 0;
};

// Named instance "Core.RequestContextMgr".
struct IRequestContextMgr : IComponentBase
{
    static constexpr GUID Iid{0xD1664FB4, 0x4974, 0x402E, {0x9D, 0x54, 0x93, 0x88, 0xCD, 0xF0, 0x0D, 0x2A}};

    // Context 0 is that of the request which the calling thread serves; success with null when it serves none.
    virtual HRESULT GetContext(uint32_t contextId, IRequestContext** out) = 0;
};
