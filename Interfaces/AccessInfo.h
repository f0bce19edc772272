// The contracts between access-info sources, the updater and consumers.
//
// An access rights item is a nameless node of type "AccessRightsItem" with the attributes `LogonName` (text, always),
// `ContainerId` (list of GUID texts; absent: not limited to particular objects) and `IsLocalOnly` (boolean; absent:
// false). An access-info list is a node without name and type whose children are such items.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

// Says who may view reports about which objects.
struct IAccessInfoSource : IComponentBase
{
    static constexpr GUID Iid{0x73D8C0E3, 0xC61D, 0x4F30, {0xBA, 0xD8, 0x95, 0x17, 0x96, 0x45, 0xB9, 0x1E}};

    // Hands out the items that this source vouches for now. When *accessInfo is a node on entry, the items are appended
    // to it; when it is null, a new list is handed out, owned by the caller. No items: an empty list, not a missing
    // one. Called on the updater's worker, or on the thread of a caller that waits for an update, with the updater's
    // lock held: it must not wait for another thread that needs the updater. A failure leaves this source out of the
    // running update only.
    virtual HRESULT GetAllowedViewers(IKelNode** accessInfo) = 0;
};

// Gathers the sources' answers and brings table and consumers in line.
struct IAccessInfoUpdater : IComponentBase
{
    static constexpr GUID Iid{0xCB66FADC, 0xC6E2, 0x4474, {0x85, 0xF6, 0x0F, 0x9A, 0x8E, 0xD3, 0x8C, 0x65}};

    // Appends the source to the list (a second time, if it is there already) and keeps a reference.
    // E_POINTER when it is null.
    virtual HRESULT RegisterAccessInfoSource(IAccessInfoSource* source) = 0;

    // Removes every entry equal to `source` and releases them. E_POINTER when it is null.
    virtual HRESULT UnregisterAccessInfoSource(IAccessInfoSource* source) = 0;

    // Asks for an update because data changed. `source` is not used. `wait` false: the updater's worker is triggered
    // and the call returns at once, without taking the updater's lock. `wait` true: one whole update runs on the
    // calling thread and its result is the call's; HResultFromWin32(ERROR_INVALID_STATE) before the first
    // `Configure`.
    virtual HRESULT UpdateAccessInfo(IAccessInfoSource* source, BOOL wait) = 0;
};

// Receives what the updater is about to write. Both operations are called with the updater's lock held.
struct IAccessInfoConsumer : IComponentBase
{
    static constexpr GUID Iid{0x7922BA8A, 0x1D63, 0x400A, {0x9F, 0x0F, 0xC1, 0xA2, 0xCB, 0x4D, 0xAF, 0xDB}};

    // The connection-settings entry in use has changed: `settings` is the new one, null when none is enabled any more.
    virtual HRESULT OnReportingSettingsUpdated(IKelNode* settings) = 0;

    // The merged and filtered list, before the table is written. To keep it, duplicate the handle. A failure ends the
    // update: the table is not written and later consumers are not called; the updater tries again.
    virtual HRESULT OnAccessInfoUpdated(IKelNode* accessInfo) = 0;
};
