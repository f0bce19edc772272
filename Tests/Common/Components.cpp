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

class CSample : public CComponentRoot, public IConfigurableComponent
{
public:
    using Interfaces = InterfaceList<IConfigurableComponent>;
    static constexpr char AliveTag[] = "CComponentObject<class CSample>::CComponentObject";

    explicit CSample(HRESULT construct = S_OK) : m_construct(construct) {}
    HRESULT FinalConstruct() { return m_construct; }
    void FinalRelease()
    {
        ++s_finalReleases;
        // The object is still whole: it can be asked and handed around. What its own calls leave is nobody's business.
        ComponentPtr<IComponentBase> base;
        EXPECT_EQ(QueryInterface(IComponentBase::Iid, base.OutVoid()), S_OK);
        s_kept = std::move(base);
        Platform::ErrorInfo().LeaveOnThread();
        throw std::bad_alloc();
    }
    ~CSample() override { ++s_destroyed; }
    HRESULT Configure(IKelNode*) override { return S_OK; }

    static inline int s_finalReleases = 0;
    static inline int s_destroyed = 0;
    static inline ComponentPtr<IComponentBase> s_kept;

private:
    const HRESULT m_construct;
};

using Sample = CComponentObject<CSample>;

} // namespace

// How every class is created, asked and released is seen by slot in Tests/Abi.
TEST(ComponentObject, IsDestroyedBehindFinalReleaseWhenNobodyHoldsItAnyMore)
{
    const LogCapture log;
    Sample* created = nullptr;
    EXPECT_EQ(Sample::CreateInstance(&created, E_ABORT), E_ABORT);
    ASSERT_EQ(created, nullptr);
    ASSERT_EQ(Sample::CreateInstance(&created), S_OK);
    Platform::ErrorInfo::Make(IComponentBase::Iid, L"the caller's").LeaveOnThread();
    EXPECT_EQ(created->Release(), 0U);
    EXPECT_TRUE(Platform::ErrorInfo::TakeFromThread());
    EXPECT_EQ(CSample::s_destroyed, 1) << "somebody holds it";
    EXPECT_EQ(CSample::s_kept->AddRef(), 2U);
    EXPECT_EQ(CSample::s_kept->Release(), 1U);
    CSample::s_kept.Reset();
    EXPECT_EQ(CSample::s_destroyed, 2);
    EXPECT_EQ(CSample::s_finalReleases, 1) << "a reference of the hook's own does not end the object again";
    EXPECT_EQ(log.Count(L"| ERR  |", L"CComponentObject<class CSample>::CComponentObject: FinalRelease failed: "), 1U);
}

TEST(AliveObjects, AreReportedOnDemandWithTypeAddressAndFourFrames)
{
    LogCapture log;
    const int objects[2] = {};
    TestSettings settings;
    const auto report = [&] {
        log.Clear();
        DbgAliveObjectsTracker tracker(settings.store);
        tracker.Report(); // nothing alive, nothing to say
        tracker.Register(&objects[0], "TagA");
        tracker.Register(&objects[1], "TagB");
        tracker.Register(&objects[1], "later registration of the same object");
        tracker.Report();
        tracker.Unregister(&objects[0]);
        tracker.Unregister(&objects[1]);
        tracker.Report();
        return log.Lines().size();
    };
    EXPECT_EQ(report(), 0U) << "not enabled";
    settings[L"Debug/EnableAliveObjectsTracking"] = L"1";
    for (const wchar_t* framesToSkip : {L"0", L"1"}) {
        settings[L"Debug/AliveObjectsTrackingFramesToSkip"] = framesToSkip;
        ASSERT_EQ(report(), 3U);
        EXPECT_EQ(log.Count(L"WARN", L"DbgAliveObjectsTracker.cpp:59 ", L"Alive component objects: 2\r\n"), 1U);
        EXPECT_EQ(log.Count(L"WARN", L"DbgAliveObjectsTracker.cpp:72 "), 2U);
        const std::wstring entry = log.From(L"ObjTag='TagB'");
        EXPECT_TRUE(std::regex_match(
            entry, std::wregex(L"ObjTag='TagB' Ptr=[0-9a-fA-Fx]+ EIPs=(0x[0-9A-F]{16};){3}0x[0-9A-F]{16}")))
            << testing::PrintToString(entry);
        const std::wstring firstFrame = entry.substr(entry.find(L"EIPs="), 23);
        EXPECT_EQ(log.Count(firstFrame), *framesToSkip == L'0' ? 1U : 2U) << "that of the call, and of the caller";
    }
}

TEST(NamedInstances, AreRequiredOrOptional)
{
    FakeConsumer consumer;
    const RegisteredInstance named(L"Test.Consumer", &consumer);
    EXPECT_EQ(GetNamedInstance<IAccessInfoConsumer>(L"Test.Consumer").Get(), &consumer);
    EXPECT_EQ(TryGetNamedInstance<IAccessInfoConsumer>(L"Test.Consumer").Get(), &consumer);
    EXPECT_EQ(CodeOf([] { TryGetNamedInstance<IAccessInfoSource>(L"Test.Consumer"); }), E_NOINTERFACE);
    const LogCapture log;
    EXPECT_FALSE(TryGetNamedInstance<IAccessInfoConsumer>(L"Test.Absent"));
    EXPECT_EQ(log.Count(L""), 0U) << "its absence is an answer";
    EXPECT_EQ(CodeOf([] { GetNamedInstance<IAccessInfoConsumer>(L"Test.Absent"); }), NotFound);
    EXPECT_EQ(log.Count(L"| ERR  |", L"Named component 'Test.Absent' cannot be used: 0x80070490 "), 1U);
}
