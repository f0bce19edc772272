#include "Host/Components/ConfigServerProxy.h"
#include "Host/Support/Failure.h"
#include "Tests/Host/NodwellFixture.h"

#include <gmock/gmock.h>

using Host::ConfigServerProxy;
using testing::ElementsAre;

namespace
{

constexpr int32_t WithState = 1;
constexpr int32_t WithContent = 2;
constexpr int32_t WholeNode = 8;

// "Name{V}(children)".
std::wstring Describe(const NodeHandle& node)
{
    std::wstring text = node.Name();
    if (const auto value = node.ReadText(L"V"))
        text += L'{' + *value + L'}';
    for (uint64_t i = 0; i < node.ChildCount(); ++i)
        text += (i == 0 ? L'(' : L' ') + Describe(node.ChildAt(i));
    return node.ChildCount() == 0 ? text : text + L')';
}

// Writes notifications down: "mask path=mask content, ...".
struct Sink final : Component<IModifySubscriptionSink>
{
    explicit Sink(std::function<HRESULT(IKelModifySubscription*)> react = nullptr) : reaction(std::move(react)) {}

    HRESULT OnTriggered(IKelModifySubscription* subscription, int32_t mask, IKelNodeModifyEnum* nodes) override
    {
        std::wstring text = std::to_wstring(mask);
        ComponentPtr<IKelNodeIterator> iterator;
        EXPECT_EQ(nodes->GetEnumerator(iterator.Out()), S_OK);
        for (NodeHandle entry; iterator->Next(entry.Out()) == S_OK;) {
            text += L' ' + entry.ReadText(L"ModifiedNodePath").value() + L'=' +
                    std::to_wstring(entry.ReadInt64(L"ChangesMask").value());
            if (entry.ChildCount() != 0)
                text += L' ' + Describe(entry.ChildAt(0));
        }
        notifications.push_back(text);
        return reaction ? reaction(subscription) : S_OK;
    }

    const std::function<HRESULT(IKelModifySubscription*)> reaction;
    std::vector<std::wstring> notifications; // to be read when everything has been delivered
};

NodeHandle Filter(const std::wstring& path, int64_t depth)
{
    return NodeHandle::Build(
        {{}, L"FilterByPath", {{L"NodePath", path}, {L"IsParent", false}, {L"MaxDepth", depth}}, {}});
}

NodeHandle Request(int32_t mask, int32_t options)
{
    return NodeHandle::Build({L"SubscribeConfig", {}, {{L"ChangesMask", mask}, {L"SubscribeOptions", options}}, {}});
}

std::vector<Host::Attribute> Value(const wchar_t* value)
{
    return {{L"V", std::wstring(value)}};
}

// The tree: R with A{a} and B{b}, and below A: C{c} with D{d}.
class ConfigServer : public NodwellTest
{
protected:
    ConfigServer()
    {
        Set(L"\\R\\A", L"a", true);
        Set(L"\\R\\A\\C", L"c", true);
        Set(L"\\R\\A\\C\\D", L"d", true);
        Set(L"\\R\\B", L"b", true);
    }

    ComponentPtr<IKelModifySubscription> Watch(Sink& sink, const std::wstring& path, int64_t depth = 0,
                                               int32_t mask = 7, int32_t options = 0, bool activate = true)
    {
        ComponentPtr<IKelModifySubscription> made;
        EXPECT_EQ(server->Subscribe(Filter(path, depth).Get(), Request(mask, options).Get(), &sink, made.Out()), S_OK);
        EXPECT_EQ(activate ? made->Activate() : S_OK, S_OK);
        return made;
    }

    void Set(const std::wstring& path, const wchar_t* value, bool create = false)
    {
        server->SetAttributes(path, Value(value), create);
    }

    const ComponentPtr<ConfigServerProxy> server = MakeComponent<ConfigServerProxy>(Create(L"R"));
};

} // namespace

TEST_F(ConfigServer, NotificationsBeginWithActivateAndTheCurrentState)
{
    Sink sink;
    const auto subscription = Watch(sink, L"\\R\\A", 0, 7, WithState | WithContent, false);
    Set(L"\\R\\A", L"a2");
    server->WaitUntilDelivered();
    EXPECT_TRUE(sink.notifications.empty());
    EXPECT_EQ(subscription->Activate(), S_OK);
    EXPECT_EQ(subscription->Activate(), S_FALSE);
    Set(L"\\R\\A", L"a3");
    Sink early([](IKelModifySubscription*) { return Host::FailWithDescription(E_ABORT, L"not now"); });
    const auto toCome = Watch(early, L"\\R\\New", 0, 7, WithState | WithContent);
    Set(L"\\R\\New", L"n", true);
    server->WaitUntilDelivered();
    EXPECT_THAT(sink.notifications, ElementsAre(L"1 \\R\\A=1 A{a2}", L"2 \\R\\A=2 A{a3}"));
    EXPECT_THAT(early.notifications, ElementsAre(L"1 \\R\\New=1 New{n}"));
    EXPECT_EQ(server->Failures().lastText, L"0x80004004 not now");
}

TEST_F(ConfigServer, PathDepthAndMaskChooseWhatIsTold)
{
    Sink node, level, tree, removals;
    const auto s1 = Watch(node, L"\\R\\A");
    const auto s2 = Watch(level, L"\\R\\A", 1);
    const auto s3 = Watch(tree, L"\\R\\A", KelnWholeTree);
    const auto s4 = Watch(removals, L"\\R\\A", KelnWholeTree, 4);
    Set(L"\\R\\A", L"1");
    Set(L"\\R\\A\\C\\D", L"1");
    Set(L"\\R\\A\\E\\F", L"1", true);
    Set(L"\\R\\B", L"1");
    Set(L"\\R\\Ab", L"1", true);
    server->RemoveNode(L"\\R\\A\\C");
    // Refused changes leave the tree, and nobody is told.
    EXPECT_THROW(Set(L"\\R\\A\\X\\Y", L"1"), Host::Failure);
    EXPECT_THROW(Set(L"\\Other\\A", L"1", true), Host::Failure);
    EXPECT_THROW(server->RemoveNode(L"\\R\\A\\X"), Host::Failure);
    EXPECT_THROW(server->RemoveNode(L"\\R"), Host::Failure);
    server->WaitUntilDelivered();
    EXPECT_THAT(node.notifications, ElementsAre(L"2 \\R\\A=2"));
    EXPECT_THAT(level.notifications, ElementsAre(L"2 \\R\\A=2", L"1 \\R\\A\\E=1", L"4 \\R\\A\\C=4"));
    EXPECT_THAT(tree.notifications, ElementsAre(L"2 \\R\\A=2", L"2 \\R\\A\\C\\D=2", L"1 \\R\\A\\E=1 \\R\\A\\E\\F=1",
                                                L"4 \\R\\A\\C=4 \\R\\A\\C\\D=4"));
    EXPECT_THAT(removals.notifications, ElementsAre(L"4 \\R\\A\\C=4 \\R\\A\\C\\D=4"));
}

TEST_F(ConfigServer, ContentIsTheChangedNodeOrTheWholeWatchedOne)
{
    Sink single, whole;
    const auto s1 = Watch(single, L"\\R\\A", KelnWholeTree, 7, WithContent);
    const auto s2 = Watch(whole, L"\\R\\A", KelnWholeTree, 7, WithState | WithContent | WholeNode);
    Set(L"\\R\\A\\C", L"c2");
    server->RemoveNode(L"\\R\\A\\C\\D");
    server->RemoveNode(L"\\R\\A");
    server->WaitUntilDelivered();
    EXPECT_THAT(single.notifications,
                ElementsAre(L"2 \\R\\A\\C=2 C{c2}", L"4 \\R\\A\\C\\D=4", L"4 \\R\\A=4 \\R\\A\\C=4"));
    EXPECT_THAT(whole.notifications, ElementsAre(L"1 \\R\\A=1 A{a}(C{c}(D{d}))", L"2 \\R\\A\\C=2 A{a}(C{c2}(D{d}))",
                                                 L"4 \\R\\A\\C\\D=4 A{a}(C{c2})", L"4 \\R\\A=4 \\R\\A\\C=4"));
}
