#include "Common/Components/ComponentObject.h"
#include "Common/Components/NamedInstance.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TestEnvironment.h"

#include <regex>

namespace
{

class CSample : public CComponentRoot, public IConfigurableComponent, public IAccessInfoConsumer
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent, IAccessInfoConsumer>;
    static constexpr char AliveTag[] = "CComponentObject<class CSample>::CComponentObject";

    explicit CSample(HRESULT construct = S_OK) : m_construct(construct) { ++s_built; }
    ~CSample() override { ++s_destroyed; }
    HRESULT FinalConstruct() { return m_construct; }
    void FinalRelease()
    {
        // The object is still whole: it can be asked and handed around.
        IComponentBase* base = nullptr;
        IConfigurableComponent* const self = this;
        s_wholeInFinalRelease = self->QueryInterface(IComponentBase::Iid, reinterpret_cast<void**>(&base)) == S_OK;
    }
    HRESULT Configure(IKelNode*) override { return S_OK; }
    HRESULT OnReportingSettingsUpdated(IKelNode*) override { return S_OK; }
    HRESULT OnAccessInfoUpdated(IKelNode*) override { return S_OK; }

    static inline std::atomic<int> s_built = 0;
    static inline std::atomic<int> s_destroyed = 0;
    static inline std::atomic<bool> s_wholeInFinalRelease = false;

private:
    const HRESULT m_construct;
};

using Sample = CComponentObject<CSample>;
constexpr GUID SampleClass{0x12345678, 1, 2, {3}};

} // namespace

TEST(ComponentObject, CountsReferencesAndAnswersItsInterfaces)
{
    Sample* created = nullptr;
    ASSERT_EQ(Sample::CreateInstance(&created), S_OK);
    EXPECT_EQ(created->AddRef(), 2U);
    EXPECT_EQ(created->Release(), 1U);

    ComponentPtr<IConfigurableComponent> configurable;
    ComponentPtr<IAccessInfoConsumer> consumer;
    ComponentPtr<IComponentBase> base;
    void* none = nullptr;
    EXPECT_EQ(created->QueryInterface(IConfigurableComponent::Iid, configurable.OutVoid()), S_OK);
    EXPECT_EQ(configurable->QueryInterface(IAccessInfoConsumer::Iid, consumer.OutVoid()), S_OK);
    EXPECT_EQ(consumer->QueryInterface(IComponentBase::Iid, base.OutVoid()), S_OK);
    EXPECT_EQ(base.Get(), static_cast<IComponentBase*>(configurable.Get())) << "the first interface's base";
    EXPECT_EQ(created->QueryInterface(IAccessInfoSource::Iid, &none), E_NOINTERFACE);
    EXPECT_EQ(created->QueryInterface(IComponentBase::Iid, nullptr), E_INVALIDARG);
    EXPECT_EQ(none, nullptr);

    const int destroyed = CSample::s_destroyed;
    created->Release();
    base.Reset();
    configurable.Reset();
    EXPECT_EQ(CSample::s_destroyed, destroyed);
    consumer.Reset();
    EXPECT_EQ(CSample::s_destroyed, destroyed + 1);
    EXPECT_TRUE(CSample::s_wholeInFinalRelease);
}

TEST(ComponentObject, WhatCannotBeHandedOutIsDestroyedAgain)
{
    const int built = CSample::s_built;
    const int destroyed = CSample::s_destroyed;
    Sample* created = nullptr;
    EXPECT_EQ(Sample::CreateInstance(&created, E_ABORT), E_ABORT);
    EXPECT_EQ(created, nullptr);
    void* out = nullptr;
    EXPECT_EQ(Sample::Create(IComponentsModule::Iid, &out), E_NOINTERFACE);
    EXPECT_EQ(Sample::Create(IComponentBase::Iid, nullptr), E_INVALIDARG);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(CSample::s_built, built + 3);
    EXPECT_EQ(CSample::s_destroyed, destroyed + 3);
}

TEST(ModuleObject, CreatesRegisteredClassesOnAnyThread)
{
    ModuleObject& module = ModuleObject::Instance();
    void* out = &module;
    {
        const ComponentClassRegistration registration(SampleClass, &Sample::Create);
        module.RegisterClass(SampleClass, [](REFIID, void**) { return E_UNEXPECTED; }); // the first one stays
        ComponentPtr<IConfigurableComponent> shared;
        ASSERT_EQ(module.CreateInstance(SampleClass, IConfigurableComponent::Iid, shared.OutVoid()), S_OK);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&module, copy = shared] {
                for (int i = 0; i < 200; ++i) {
                    ComponentPtr<IAccessInfoConsumer> own;
                    module.CreateInstance(SampleClass, IAccessInfoConsumer::Iid, own.OutVoid());
                    const ComponentPtr<IConfigurableComponent> another = copy;
                    copy->QueryInterface(IAccessInfoConsumer::Iid, own.OutVoid());
                }
            });
        }
        shared.Reset();
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(CSample::s_built, CSample::s_destroyed);
    EXPECT_EQ(module.CreateInstance(SampleClass, IComponentBase::Iid, &out), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(out, &module) << "left alone";
}

TEST(AliveObjects, AreReportedOnDemandWithTypeAddressAndFourFrames)
{
    const LogCapture log;
    const int objects[2] = {};
    TestSettings settings;
    for (const bool enabled : {false, true}) {
        settings[L"Debug/EnableAliveObjectsTracking"] = enabled ? L"1" : L"0";
        DbgAliveObjectsTracker tracker(settings.store);
        tracker.Report(); // nothing alive, nothing to say
        tracker.Register(&objects[0], "TagA");
        tracker.Register(&objects[1], "TagB");
        tracker.Register(&objects[1], "later registration of the same object");
        EXPECT_TRUE(log.Lines().empty());
        tracker.Report();
        EXPECT_EQ(log.Lines().size(), enabled ? 3U : 0U);
        tracker.Unregister(&objects[0]);
        tracker.Unregister(&objects[1]);
        tracker.Report();
    }
    EXPECT_EQ(log.Count(L"WARN", L"DbgAliveObjectsTracker.cpp:59 ", L"Alive component objects: 2\r\n"), 1U);
    EXPECT_EQ(log.Count(L"WARN", L"DbgAliveObjectsTracker.cpp:72 "), 2U);
    EXPECT_TRUE(
        std::regex_match(log.From(L"ObjTag='TagB'"),
                         std::wregex(L"ObjTag='TagB' Ptr=[0-9a-fA-Fx]+ EIPs=(0x[0-9A-F]{16};){3}0x[0-9A-F]{16}")))
        << testing::PrintToString(log.Lines());
    EXPECT_EQ(log.Lines().size(), 3U);
}

TEST(NamedInstances, AreRequiredOrOptional)
{
    FakeConsumer consumer;
    const NamedInstance named(L"Test.Consumer", &consumer);
    EXPECT_EQ(GetNamedInstance<IAccessInfoConsumer>(L"Test.Consumer").Get(), &consumer);
    EXPECT_EQ(TryGetNamedInstance<IAccessInfoConsumer>(L"Test.Consumer").Get(), &consumer);
    EXPECT_FALSE(TryGetNamedInstance<IAccessInfoConsumer>(L"Test.Absent"));
    EXPECT_EQ(CodeOf([] { GetNamedInstance<IAccessInfoConsumer>(L"Test.Absent"); }), NotFound);
    EXPECT_EQ(CodeOf([] { TryGetNamedInstance<IAccessInfoSource>(L"Test.Consumer"); }), E_NOINTERFACE);
}
