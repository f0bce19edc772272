// One component of the module under test, configured and watched from outside.
#pragma once

#include "Common/Components/ComponentObject.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/ManualClock.h"

using namespace std::chrono_literals;

template <class Component>
class ComponentTest : public testing::Test
{
protected:
    // `run`: the trace scope of one run of the component's worker.
    explicit ComponentTest(const wchar_t* run = L"") : m_run(run)
    {
        EXPECT_EQ(CComponentObject<Component>::Create(IConfigurableComponent::Iid, configurable.OutVoid()), S_OK);
    }

    // While what a fixture puts around the component is still there.
    void TearDown() override { configurable.Reset(); }

    template <class I>
    ComponentPtr<I> As() const
    {
        ComponentPtr<I> other;
        EXPECT_EQ(configurable->QueryInterface(I::Iid, other.OutVoid()), S_OK);
        return other;
    }

    HRESULT Configure() { return configurable->Configure(config.Get()); }

    // What the component, a source, answers; behind `first` when the caller brings a list.
    Texts Viewers(const KelNodePtr& first = {}) const
    {
        KelNodePtr list = first;
        IKelNode* handle = first.Get();
        const auto source = As<IAccessInfoSource>();
        EXPECT_EQ(source->GetAllowedViewers(nullptr), E_POINTER);
        EXPECT_EQ(source->GetAllowedViewers(first ? &handle : list.Out()), S_OK);
        return Describe(list);
    }

    // Does what makes the worker run, and returns when so many runs are over. For one worker.
    template <class Action>
    void AwaitRuns(Action action, std::size_t number = 1)
    {
        const auto over = [this](const wchar_t* prefix) { return log.Count(prefix + m_run); };
        const auto runs = [&] { return over(L"Exiting: ") + over(L"EXCEPTION at: "); };
        const std::size_t before = runs();
        action();
        ASSERT_TRUE(Eventually([&] { return runs() >= before + number; }));
        clock.LetTheWaiterLook();
    }

    ManualClock clock;
    LogCapture log;
    KelNodePtr config = CreateKelNode(L"config", nullptr);
    ComponentPtr<IConfigurableComponent> configurable;

private:
    const std::wstring m_run;
};
