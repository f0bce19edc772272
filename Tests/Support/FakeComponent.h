// Components of the host as a test wants them.
#pragma once

#include "Host/Halvex/Registry.h"
#include "Interfaces/Component.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

// Lives in the test's frame; a reference that is still held when it is destroyed fails the test.
template <class... I>
struct FakeComponent : Component<I...>
{
    ~FakeComponent() override
    {
        EXPECT_EQ(this->References(), 1U) << "references to a fake component were left behind";
    }
    void Dispose() override {}
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
