// Base of the host's components: reference count and interface lookup.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/ComponentPtr.h"

#include <atomic>
#include <utility>

namespace Host
{

// Implements the slots that all interfaces share for an object with the one interface `Interface`. Objects start with
// one reference.
template <class Interface>
class Component : public Interface
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
        if (!(iid == IComponentBase::Iid) && !(iid == Interface::Iid))
            return E_NOINTERFACE;
        AddRef();
        *out = static_cast<Interface*>(this);
        return S_OK;
    }

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

} // namespace Host
