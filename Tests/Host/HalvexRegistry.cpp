#include "Host/Halvex/Registry.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Interfaces/Halvex.h"
#include "Tests/Host/NodwellFixture.h"

#include <atomic>
#include <thread>

namespace
{

// Calls the registry whenever it is queried or goes, which a lock held over these would turn into a deadlock.
class Component final : public IComponentBase
{
public:
    static ComponentPtr<IComponentBase> Create() { return ComponentPtr<IComponentBase>::Attach(new Component); }

    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override
    {
        const ULONG left = --m_references;
        if (left == 0) {
            HalvexUnregisterInstance(L"Nobody");
            ++s_gone;
            delete this;
        }
        return left;
    }
    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        HalvexUnregisterInstance(L"Nobody");
        if (!(iid == IComponentBase::Iid))
            return E_NOINTERFACE;
        AddRef();
        *out = this;
        return S_OK;
    }

    static inline std::atomic<int> s_gone = 0;

private:
    std::atomic<ULONG> m_references = 1;
};

HRESULT Find(const wchar_t* name, ComponentPtr<IComponentBase>& out, const GUID& iid = IComponentBase::Iid)
{
    return HxGetNamedInstance(name, 0, iid, out.OutVoid());
}

} // namespace

TEST(NamedInstances, AreFoundUnderTheirExactNameUntilUnregistered)
{
    ComponentPtr<IComponentBase> component = Component::Create();
    ComponentPtr<IComponentBase> found;
    ASSERT_EQ(HalvexRegisterInstance(L"Core.One", component.Get()), S_OK);
    EXPECT_EQ(HalvexRegisterInstance(L"Core.One", component.Get()), HResultFromWin32(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(HalvexRegisterInstance(L"Core.Two", component.Get()), S_OK);
    EXPECT_EQ(HalvexInstanceCount(), 2U);
    EXPECT_EQ(Find(L"Core.One", found), S_OK);
    EXPECT_EQ(found, component);
    EXPECT_EQ(Find(L"core.one", found), NotFound);
    EXPECT_EQ(TakeErrorText(), L"Halvex: there is no instance 'core.one'");
    EXPECT_FALSE(found);
    EXPECT_EQ(Find(L"Core.One", found, IConfigurableComponent::Iid), E_NOINTERFACE);
    EXPECT_EQ(TakeErrorText(), L"Halvex: instance 'Core.One' does not have the interface asked for");

    const int gone = Component::s_gone;
    component.Reset();
    EXPECT_EQ(HalvexUnregisterInstance(L"Core.One"), S_OK);
    EXPECT_EQ(HalvexUnregisterInstance(L"Core.One"), NotFound);
    EXPECT_EQ(Component::s_gone, gone);
    EXPECT_EQ(HalvexUnregisterInstance(L"Core.Two"), S_OK);
    EXPECT_EQ(Component::s_gone, gone + 1);

    EXPECT_EQ(HxGetNamedInstance(nullptr, 0, IComponentBase::Iid, found.OutVoid()), E_INVALIDARG);
    EXPECT_EQ(HxGetNamedInstance(L"Core.One", 1, IComponentBase::Iid, found.OutVoid()), E_INVALIDARG);
    EXPECT_EQ(HxGetNamedInstance(L"Core.One", 0, IComponentBase::Iid, nullptr), E_POINTER);
    EXPECT_EQ(HalvexRegisterInstance(L"Core.One", nullptr), E_POINTER);
    EXPECT_EQ(HalvexInstanceCount(), 0U);
}

TEST(NamedInstances, ComeAndGoWhileOthersLookThemUp)
{
    const int gone = Component::s_gone;
    std::jthread looking([](std::stop_token stop) {
        ComponentPtr<IComponentBase> found;
        while (!stop.stop_requested()) {
            const HRESULT result = Find(L"Coming", found);
            ASSERT_EQ(result, found ? S_OK : NotFound);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        EXPECT_EQ(HalvexRegisterInstance(L"Coming", Component::Create().Get()), S_OK);
        EXPECT_EQ(HalvexUnregisterInstance(L"Coming"), S_OK);
    }
    looking = {};
    EXPECT_EQ(Component::s_gone, gone + 2000);
}
