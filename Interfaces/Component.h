// Base of components: reference count and interface lookup. A convenience for C++ hosts, no part of the binary
// contract.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/ComponentPtr.h"

#include <atomic>
#include <utility>

// Implements the slots that all interfaces share for an object with the interfaces listed. Objects start with one
// reference; they are allocated with `new`, unless they override Dispose. References are counted on any thread.
template <class First, class... Rest>
class Component : public First, public Rest...
{
public:
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    ULONG AddRef() override { return ++m_references; }

    ULONG Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            Dispose();
        return left;
    }

    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        if (!out)
            return E_INVALIDARG;
        void* found = iid == First::Iid ? static_cast<First*>(this) : nullptr;
        ((found = iid == Rest::Iid ? static_cast<Rest*>(this) : found), ...);
        if (iid == IComponentBase::Iid) // also the one of interfaces that have none of their own
            found = Base();
        if (!found)
            return E_NOINTERFACE;
        AddRef();
        *out = found;
        return S_OK;
    }

    ULONG References() const { return m_references; }
    IComponentBase* Base() { return static_cast<First*>(this); }

protected:
    Component() = default;
    virtual ~Component() = default;

    // Is called when the last reference has been released.
    virtual void Dispose() { delete this; }

private:
    std::atomic<ULONG> m_references{1};
};

template <class T, class... Arguments>
ComponentPtr<T> MakeComponent(Arguments&&... arguments)
{
    return ComponentPtr<T>::Attach(new T(std::forward<Arguments>(arguments)...));
}
