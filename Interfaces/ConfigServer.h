// The host's configuration server: subscriptions to changes of configuration nodes.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

// Enumerates the modified nodes of a notification.
struct IKelNodeIterator : IComponentBase
{
    // Back to the first entry.
    virtual HRESULT Reset() = 0;

    // S_OK and an entry owned by the caller; any other result ends the enumeration. An entry is a node with
    // `ModifiedNodePath` (text), `ChangesMask` (64-bit integer) and, optionally, the modified node as its first child.
    virtual HRESULT Next(IKelNode** node) = 0;
};

struct IKelNodeModifyEnum : IComponentBase
{
    virtual HRESULT GetEnumerator(IKelNodeIterator** out) = 0;
};

struct IKelModifySubscription : IComponentBase
{
    // Notifications start with this call.
    virtual HRESULT Activate() = 0;

    virtual HRESULT UnusedSlot4() { return E_NOTIMPL; }

    // The subscription's identifier.
    virtual HRESULT GetId(GUID* id) = 0;
};

// Implemented by components that subscribe.
struct IModifySubscriptionSink : IComponentBase
{
    static constexpr GUID Iid{0xC58F7C8C, 0x47FB, 0x490D, {0xAC, 0x0F, 0xA6, 0xED, 0x5C, 0x96, 0xAD, 0xC8}};

    // Nodes under a watched path have changed. Called on a thread of the configuration server's choosing, from the
    // subscription's `Activate` on. The arguments belong to the call. E_POINTER when a pointer is null.
    virtual HRESULT OnTriggered(IKelModifySubscription* subscription, int32_t modifyMask,
                                IKelNodeModifyEnum* modifiedNodes) = 0;
};

// Named instance "ConfigServer.Proxy".
struct IConfigServerProxy : IComponentBase
{
    static constexpr GUID Iid{0xB3BE9604, 0x1352, 0x4DAB, {0xB4, 0x13, 0xD3, 0x77, 0x64, 0xC0, 0xCE, 0x97}};

    // `filter` is a "FilterByPath" node, `request` a "SubscribeConfig" node. The server keeps no reference to the sink:
    // the subscriber outlives its subscription by unsubscribing before it is destroyed.
    virtual HRESULT Subscribe(IKelNode* filter, IKelNode* request, IModifySubscriptionSink* sink,
                              IKelModifySubscription** out) = 0;

    // Ends the subscription; when the call returns, no notification of it is running or will come (one that runs on the
    // calling thread excepted).
    virtual HRESULT Unsubscribe(IKelModifySubscription* subscription) = 0;
};
