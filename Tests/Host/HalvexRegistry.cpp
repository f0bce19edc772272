#include "Host/Components/Component.h"
#include "Host/Halvex/Registry.h"
#include "Interfaces/Halvex.h"
#include "Tests/Host/NodwellFixture.h"

namespace
{

using ComponentBase = ComponentPtr<IComponentBase>;

// Calls the registry when it is queried and when it goes, which a lock held over these would turn into a deadlock.
class Component final : public Host::Component<IComponentBase>
{
public:
    Component() { ++s_alive; }
    ~Component() override { HalvexUnregisterInstance(L"Nobody"), --s_alive; }

    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        HalvexUnregisterInstance(L"Nobody");
        return Host::Component<IComponentBase>::QueryInterface(iid, out);
    }

    static inline std::atomic<int> s_alive = 0;
};

HRESULT Find(const wchar_t* name, ComponentBase& out)
{
    return HxGetNamedInstance(name, 0, IComponentBase::Iid, out.OutVoid());
}

} // namespace

TEST(NamedInstances, AreFoundUnderTheirExactNameUntilUnregistered)
{
    auto component = ComponentBase(Host::MakeComponent<Component>().Get());
    ComponentBase found;
    EXPECT_EQ(HalvexRegisterInstance(L"Core.One", component.Get()), S_OK);
    EXPECT_EQ(HalvexRegisterInstance(L"Core.One", component.Get()), HResultFromWin32(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(Find(L"Core.One", found), S_OK);
    EXPECT_EQ(found, component);
    EXPECT_EQ(Find(L"core.one", found), NotFound);
    EXPECT_EQ(TakeErrorText(), L"Halvex: there is no instance 'core.one'");

    component.Reset();
    EXPECT_EQ(Component::s_alive, 1);
    EXPECT_EQ(HalvexInstanceCount(), 1U);
    EXPECT_EQ(HalvexUnregisterInstance(L"Core.One"), S_OK);
    EXPECT_EQ(HalvexUnregisterInstance(L"Core.One"), NotFound);
    EXPECT_EQ(Component::s_alive, 0);
}
