// What every object that the module hands out has in common: reference count, creation and release hooks, interface
// lookup, the hold on the module, and the entry in the register of live objects.
#pragma once

#include "Common/Components/DbgAliveObjectsTracker.h"
#include "Common/Components/InterfaceLookup.h"
#include "Common/Components/ModuleObject.h"
#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/HResult.h"

#include <atomic>
#include <new>
#include <utility>

// Root of every component class, beside the interfaces that it implements. A class `T` has
//     using Interfaces = InterfaceList<...>;   // in the order in which they are tested
//     static constexpr char AliveTag[] = ...;  // names it in the report of live objects
// and may redefine the two hooks.
class CComponentRoot
{
public:
    virtual ~CComponentRoot() = default;

    // After construction; a failure destroys the object again.
    HRESULT FinalConstruct() { return S_OK; }
    // When the last reference is released, before destruction, while the object is still whole. A reference that is
    // taken meanwhile and still held when the hook returns delays the destruction. What the hook throws is logged.
    void FinalRelease() {}

protected:
    // Marks the count of an object whose last reference was released.
    static constexpr ULONG Dying = 0x40000000;

    std::atomic<ULONG> m_references{1};
};

template <class T>
class CComponentObject final : public T
{
public:
    template <class... Arguments>
    explicit CComponentObject(Arguments&&... arguments) : T(std::forward<Arguments>(arguments)...)
    {
        DbgAliveObjectsTracker::Instance().Register(this, T::AliveTag);
        ModuleObject::Instance().Lock();
    }

    ~CComponentObject() override
    {
        DbgAliveObjectsTracker::Instance().Unregister(this);
        ModuleObject::Instance().Unlock();
    }

    // Stores a new object in `out` with its one reference. E_OUTOFMEMORY, or the failure of FinalConstruct.
    template <class... Arguments>
    static HRESULT CreateInstance(CComponentObject** out, Arguments&&... arguments)
    {
        try {
            auto object = std::make_unique<CComponentObject>(std::forward<Arguments>(arguments)...);
            const HRESULT hr = object->FinalConstruct();
            if (hr >= 0)
                *out = object.release();
            return hr;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

    // The creator of the module's class table.
    static HRESULT Create(REFIID iid, void** out)
    {
        CComponentObject* object = nullptr;
        HRESULT hr = CreateInstance(&object);
        if (hr < 0)
            return hr;
        // The lookup adds no reference: the object's first one passes to the caller.
        hr = LookUpInterface(*object, typename T::Interfaces(), iid, out);
        if (hr < 0)
            object->Release();
        return hr;
    }

    ULONG AddRef() noexcept override { return ++this->m_references & ~T::Dying; }

    ULONG Release() noexcept override
    {
        const ULONG count = --this->m_references;
        if (count == 0) {
            // A caller that releases after a failed call still wants to know why it failed.
            const ErrorInfoKeeper keepErrorInfo;
            // One reference is the hook's own.
            this->m_references += T::Dying + 1;
            CallFinalRelease();
            Release();
        } else if (count == T::Dying) {
            const ErrorInfoKeeper keepErrorInfo;
            delete this;
        }
        return count & ~T::Dying;
    }

    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        const HRESULT hr = LookUpInterface(*this, typename T::Interfaces(), iid, out);
        if (hr >= 0)
            AddRef();
        return hr;
    }

private:
    void CallFinalRelease() noexcept
    {
        try {
            this->FinalRelease();
        } catch (const std::exception& e) {
            LOG_ERR(T::AliveTag << L": FinalRelease failed: " << e.what());
        } catch (...) {
            LOG_ERR(T::AliveTag << L": FinalRelease failed: unknown exception");
        }
    }
};
