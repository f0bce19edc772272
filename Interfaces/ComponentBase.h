// Root of every interface that crosses a module boundary.
//
// An interface is a table of operations called by slot: no data, no overloads, no virtual destructor. Slots 0 to 2 are
// the three below, in this order (AddRef first, QueryInterface last); an interface's own operations start at slot 3.
// Slots that the module never calls have a body, which implementers leave alone. Every operation returns an HRESULT
// (negative: failure); what a failing operation knows beyond its code it leaves in the thread's error information
// (GetErrorInfo). Pointers passed in are borrowed for the call: to keep one, take a reference. Pointers and nodes
// passed out carry one reference that the caller releases. Out parameters are set to null by the caller and left null
// on failure. Operations may be called on any thread unless they say otherwise.
#pragma once

#include "Platform/Types.h"

struct IComponentBase
{
    static constexpr GUID Iid{0x51C3FBA2, 0x85FE, 0x436B, {0xA0, 0xFF, 0x1C, 0x61, 0xA5, 0xC0, 0xC5, 0x85}};

    // Adds one reference; returns the new count.
    virtual ULONG AddRef() = 0;

    // Drops one reference; returns the new count. At 0 the object is destroyed.
    virtual ULONG Release() = 0;

    // Looks `iid` up and stores that interface in `out` with a reference of its own.
    // E_INVALIDARG when either pointer is null, E_NOINTERFACE when the object does not have the interface.
    virtual HRESULT QueryInterface(REFIID iid, void** out) = 0;
};
