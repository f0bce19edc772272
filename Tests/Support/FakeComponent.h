// Components of the host as a test wants them.
#pragma once

#include "Common/Components/InterfaceLookup.h"
#include "Host/Halvex/Registry.h"
#include "Interfaces/ComponentPtr.h"

#include <atomic>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>

// Lives in the test's frame; a reference that is still held when it is destroyed fails the test.
template <class... I>
class FakeComponent : public I...
{
public:
    FakeComponent() = default;
    virtual ~FakeComponent() { EXPECT_EQ(m_references, 1U) << "references to a fake component were left behind"; }
    FakeComponent(const FakeComponent&) = delete;
    FakeComponent& operator=(const FakeComponent&) = delete;

    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }
    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        const HRESULT hr = LookUpInterface(*this, InterfaceList<I...>(), iid, out);
        if (hr >= 0)
            AddRef();
        return hr;
    }

    ULONG References() const { return m_references; }
    IComponentBase* Base() { return static_cast<std::tuple_element_t<0, std::tuple<I...>>*>(this); }

private:
    std::atomic<ULONG> m_references{1};
};

// A component under a name while the scope lasts.
class RegisteredInstance
{
public:
    RegisteredInstance(const std::wstring& name, IComponentBase* component) : m_name(name)
    {
        EXPECT_EQ(HalvexRegisterInstance(name.c_str(), component), S_OK);
    }
    ~RegisteredInstance() { HalvexUnregisterInstance(m_name.c_str()); }
    RegisteredInstance(const RegisteredInstance&) = delete;
    RegisteredInstance& operator=(const RegisteredInstance&) = delete;

private:
    const std::wstring m_name;
};

// A fake component that is registered as long as it lives.
template <class Fake>
struct Named : Fake
{
    explicit Named(const wchar_t* name) : registered(std::in_place, name, this->Base()) {}

    std::optional<RegisteredInstance> registered;
};
