#include "Host/Components/ConfigServerProxy.h"
#include "Host/Support/Boundary.h"
#include "Tests/Host/NodwellFixture.h"

#include <future>
#include <gmock/gmock.h>
#include <thread>

using Host::ConfigServerProxy;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr int32_t WithState = 1;
constexpr int32_t WithContent = 2;
constexpr int32_t WholeNode = 8;

// "Name{V}(children)".
std::wstring Describe(const NodeHandle& node)
{
    std::wstring text = Host::NodeName(node.Get(), KelnNameOnly);
    if (const auto value = Host::ReadText(node.Get(), L"V"))
        text += L'{' + *value + L'}';
    for (uint64_t i = 0; i < CountOf(node); ++i)
        text += (i == 0 ? L'(' : L' ') + Describe(ChildAt(node, i));
    return CountOf(node) == 0 ? text : text + L')';
}

// Writes notifications down: "mask path=mask content, ...".
class Sink final : public Host::Component<IModifySubscriptionSink>
{
public:
    using Reaction = std::function<HRESULT(IKelModifySubscription*)>;

    explicit Sink(Reaction reaction = nullptr) : m_reaction(std::move(reaction)) {}

    HRESULT OnTriggered(IKelModifySubscription* subscription, int32_t modifyMask,
                        IKelNodeModifyEnum* modifiedNodes) override
    {
        std::wstring text = std::to_wstring(modifyMask);
        ComponentPtr<IKelNodeIterator> iterator;
        EXPECT_EQ(modifiedNodes->GetEnumerator(iterator.Out()), S_OK);
        EXPECT_EQ(iterator->Reset(), S_OK);
        for (NodeHandle entry; iterator->Next(entry.Out()) == S_OK;) {
            text += L' ' + Host::ReadText(entry.Get(), L"ModifiedNodePath").value() + L'=' +
                    std::to_wstring(Host::ReadInt64(entry.Get(), L"ChangesMask").value());
            if (CountOf(entry) != 0)
                text += L' ' + Describe(ChildAt(entry, 0));
        }
        notifications.push_back(text);
        return m_reaction ? m_reaction(subscription) : S_OK;
    }

    std::vector<std::wstring> notifications; // to be read when everything has been delivered

private:
    const Reaction m_reaction;
};

NodeHandle Filter(const std::wstring& path, int64_t depth)
{
    NodeHandle filter = Create(nullptr, L"FilterByPath");
    Host::SetAttribute(filter.Get(), L"NodePath", path);
    Host::SetAttribute(filter.Get(), L"IsParent", false);
    Host::SetAttribute(filter.Get(), L"MaxDepth", depth);
    return filter;
}

NodeHandle Request(int32_t mask, int32_t options)
{
    NodeHandle request = Create(L"SubscribeConfig");
    Host::SetAttribute(request.Get(), L"ChangesMask", mask);
    Host::SetAttribute(request.Get(), L"SubscribeOptions", options);
    return request;
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
        : server(Host::MakeComponent<ConfigServerProxy>(
              Host::BuildNode({L"R",
                               {},
                               {},
                               {{L"A", {}, Value(L"a"), {{L"C", {}, Value(L"c"), {{L"D", {}, Value(L"d"), {}}}}}},
                                {L"B", {}, Value(L"b"), {}}}})))
    {}

    ComponentPtr<IKelModifySubscription> Subscribe(Sink& sink, const std::wstring& path, int64_t depth, int32_t mask,
                                                   int32_t options)
    {
        ComponentPtr<IKelModifySubscription> subscription;
        EXPECT_EQ(server->Subscribe(Filter(path, depth).Get(), Request(mask, options).Get(), &sink, subscription.Out()),
                  S_OK);
        return subscription;
    }

    ComponentPtr<IKelModifySubscription> Watch(Sink& sink, const std::wstring& path, int64_t depth, int32_t mask,
                                               int32_t options)
    {
        auto subscription = Subscribe(sink, path, depth, mask, options);
        EXPECT_EQ(subscription->Activate(), S_OK);
        return subscription;
    }

    const ComponentPtr<ConfigServerProxy> server;
};

} // namespace

TEST_F(ConfigServer, SaysWhatIsWrongWithASubscription)
{
    Sink sink;
    ComponentPtr<IKelModifySubscription> out;
    const auto refused = [&](const NodeHandle& filter, const NodeHandle& request) {
        EXPECT_EQ(server->Subscribe(filter.Get(), request.Get(), &sink, out.Out()), E_INVALIDARG);
        return TakeErrorText();
    };
    const auto without = [](const wchar_t* missing, NodeHandle complete) {
        NodeHandle node =
            Create(Host::NodeName(complete.Get(), KelnNameOnly).c_str(), Host::NodeType(complete.Get()).c_str());
        if (missing != std::wstring_view(L"NodePath") && Host::ReadText(complete.Get(), L"NodePath"))
            Host::SetAttribute(node.Get(), L"NodePath", std::wstring(L"\\R"));
        if (missing != std::wstring_view(L"MaxDepth"))
            Host::SetAttribute(node.Get(), L"MaxDepth", 0);
        if (missing != std::wstring_view(L"ChangesMask"))
            Host::SetAttribute(node.Get(), L"ChangesMask", 7);
        return node;
    };
    for (const wchar_t* missing : {L"NodePath", L"MaxDepth", L"IsParent"}) {
        EXPECT_EQ(refused(without(missing, Filter(L"\\R", 0)), Request(7, 0)),
                  std::wstring(L"Configuration server: the filter node has no attribute '") + missing + L"'");
    }
    for (const wchar_t* missing : {L"ChangesMask", L"SubscribeOptions"}) {
        EXPECT_EQ(refused(Filter(L"\\R", 0), without(missing, Request(7, 0))),
                  std::wstring(L"Configuration server: the request node has no attribute '") + missing + L"'");
    }
    EXPECT_EQ(refused(Request(7, 0), Request(7, 0)),
              L"Configuration server: unknown filter type '', expected 'FilterByPath'");
    EXPECT_EQ(refused(Filter(L"\\R", 0), Filter(L"\\R", 0)),
              L"Configuration server: unknown request '', expected 'SubscribeConfig'");
    EXPECT_EQ(refused(Filter(L"R\\A", 0), Request(7, 0)),
              L"Configuration server: NodePath 'R\\A' is no path, expected the form '\\Name\\Name'");
    EXPECT_EQ(refused(Filter(L"\\R", -1), Request(7, 0)), L"Configuration server: MaxDepth is -1, expected 0 or more");
    EXPECT_EQ(refused(Filter(L"\\R", 0), Request(8, 0)), L"Configuration server: ChangesMask is 8, expected 1 to 7");
    EXPECT_EQ(refused(Filter(L"\\R", 0), Request(7, 4)),
              L"Configuration server: SubscribeOptions is 4, expected a sum of 1, 2 and 8");
    NodeHandle parent = Filter(L"\\R", 0);
    Host::SetAttribute(parent.Get(), L"IsParent", true);
    EXPECT_EQ(refused(parent, Request(7, 0)), L"Configuration server: filters with IsParent true are not supported");
    EXPECT_EQ(server->Subscribe(nullptr, Request(7, 0).Get(), &sink, out.Out()), E_POINTER);
    EXPECT_FALSE(out);
    EXPECT_EQ(server->LiveSubscriptions(), 0U);
}

TEST_F(ConfigServer, NotificationsBeginWithActivateAndTheCurrentState)
{
    Sink sink;
    const auto subscription = Subscribe(sink, L"\\R\\A", 0, 7, WithState | WithContent);
    server->SetAttributes(L"\\R\\A", Value(L"a2"), false);
    server->WaitUntilDelivered();
    EXPECT_THAT(sink.notifications, IsEmpty());
    EXPECT_EQ(subscription->Activate(), S_OK);
    EXPECT_EQ(subscription->Activate(), S_FALSE);
    server->SetAttributes(L"\\R\\A", Value(L"a3"), false);
    server->WaitUntilDelivered();
    EXPECT_THAT(sink.notifications, ElementsAre(L"1 \\R\\A=1 A{a2}", L"2 \\R\\A=2 A{a3}"));

    Sink early;
    const auto toCome = Watch(early, L"\\R\\New", 0, 7, WithState | WithContent);
    server->SetAttributes(L"\\R\\New", Value(L"n"), true);
    server->WaitUntilDelivered();
    EXPECT_THAT(early.notifications, ElementsAre(L"1 \\R\\New=1 New{n}"));
}

TEST_F(ConfigServer, PathDepthAndMaskChooseWhatIsTold)
{
    Sink node, level, tree, removals;
    const auto s1 = Watch(node, L"\\R\\A", 0, 7, 0);
    const auto s2 = Watch(level, L"\\R\\A", 1, 7, 0);
    const auto s3 = Watch(tree, L"\\R\\A", KelnWholeTree, 7, 0);
    const auto s4 = Watch(removals, L"\\R\\A", KelnWholeTree, 4, 0);
    server->SetAttributes(L"\\R\\A", Value(L"1"), false);
    server->SetAttributes(L"\\R\\A\\C\\D", Value(L"1"), false);
    server->SetAttributes(L"\\R\\A\\E\\F", Value(L"1"), true);
    server->SetAttributes(L"\\R\\B", Value(L"1"), false);
    server->SetAttributes(L"\\R\\Ab", Value(L"1"), true);
    server->RemoveNode(L"\\R\\A\\C");
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
    server->SetAttributes(L"\\R\\A\\C", Value(L"c2"), false);
    server->RemoveNode(L"\\R\\A\\C\\D");
    server->RemoveNode(L"\\R\\A");
    server->WaitUntilDelivered();
    EXPECT_THAT(single.notifications,
                ElementsAre(L"2 \\R\\A\\C=2 C{c2}", L"4 \\R\\A\\C\\D=4", L"4 \\R\\A=4 \\R\\A\\C=4"));
    EXPECT_THAT(whole.notifications, ElementsAre(L"1 \\R\\A=1 A{a}(C{c}(D{d}))", L"2 \\R\\A\\C=2 A{a}(C{c2}(D{d}))",
                                                 L"4 \\R\\A\\C\\D=4 A{a}(C{c2})", L"4 \\R\\A=4 \\R\\A\\C=4"));
}

TEST_F(ConfigServer, RefusedChangesLeaveTheTreeAndNobodyIsTold)
{
    Sink sink;
    const auto subscription = Watch(sink, L"\\R", KelnWholeTree, 7, 0);
    EXPECT_THROW(server->SetAttributes(L"\\R\\X\\Y", Value(L"1"), false), Host::Failure);
    EXPECT_THROW(server->SetAttributes(L"\\Other\\A", Value(L"1"), true), Host::Failure);
    EXPECT_THROW(server->RemoveNode(L"\\R\\X"), Host::Failure);
    EXPECT_THROW(server->RemoveNode(L"\\R"), Host::Failure);
    server->WaitUntilDelivered();
    EXPECT_THAT(sink.notifications, IsEmpty());
}

TEST_F(ConfigServer, EndingASubscriptionWaitsForItsNotification)
{
    // By unsubscribing, and by releasing the last reference.
    for (const bool unsubscribe : {true, false}) {
        std::promise<void> entered, finish;
        Sink sink([&](IKelModifySubscription*) {
            entered.set_value();
            finish.get_future().wait();
            return S_OK;
        });
        auto subscription = Watch(sink, L"\\R\\A", 0, 7, 0);
        server->SetAttributes(L"\\R\\A", Value(L"1"), false);
        server->SetAttributes(L"\\R\\A", Value(L"2"), false);
        entered.get_future().wait();
        std::future<void> ended = std::async(std::launch::async, [&] {
            if (unsubscribe) {
                EXPECT_EQ(server->Unsubscribe(subscription.Get()), S_OK);
            }
            subscription.Reset();
        });
        EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
        finish.set_value();
        ended.wait();
        server->WaitUntilDelivered();
        EXPECT_EQ(sink.notifications.size(), 1U);
        EXPECT_EQ(server->LiveSubscriptions(), 0U);
    }
}

TEST_F(ConfigServer, ASinkMayEndItsSubscriptionAndUseTheServer)
{
    for (const bool unsubscribe : {true, false}) {
        ComponentPtr<IKelModifySubscription> subscription;
        Sink other;
        ComponentPtr<IKelModifySubscription> made;
        Sink sink([&](IKelModifySubscription* told) {
            EXPECT_EQ(told, subscription.Get());
            if (unsubscribe) {
                EXPECT_EQ(server->Unsubscribe(told), S_OK);
            }
            subscription.Reset();
            GUID id{};
            EXPECT_EQ(told->GetId(&id), S_OK);
            made = Watch(other, L"\\R\\B", 0, 7, 0);
            server->SetAttributes(L"\\R\\B", Value(L"from the sink"), false);
            return S_OK;
        });
        subscription = Watch(sink, L"\\R\\A", 0, 7, 0);
        server->SetAttributes(L"\\R\\A", Value(L"1"), false);
        server->SetAttributes(L"\\R\\A", Value(L"2"), false);
        server->WaitUntilDelivered();
        EXPECT_EQ(sink.notifications.size(), 1U);
        EXPECT_THAT(other.notifications, ElementsAre(L"2 \\R\\B=2"));
        EXPECT_EQ(server->Unsubscribe(made.Get()), S_OK);
        EXPECT_EQ(server->Unsubscribe(made.Get()), NotFound);
        EXPECT_EQ(made->Activate(), NotFound);
    }
}

TEST_F(ConfigServer, FailuresOfSinksAreCountedWithTheirText)
{
    Sink sink([](IKelModifySubscription*) { return Host::FailWithDescription(E_ABORT, L"not now"); });
    const auto subscription = Watch(sink, L"\\R\\A", 0, 7, WithState);
    server->SetAttributes(L"\\R\\A", Value(L"1"), false);
    server->WaitUntilDelivered();
    EXPECT_EQ(server->Failures().count, 2U);
    EXPECT_EQ(server->Failures().lastText, L"0x80004004 not now");
}

TEST_F(ConfigServer, SubscriptionsOutliveTheHostsOwnReference)
{
    auto other = Host::MakeComponent<ConfigServerProxy>(Host::BuildNode({L"R", {}, {}, {}}));
    ComponentPtr<IKelModifySubscription> subscription;
    std::promise<void> done;
    Sink sink([&](IKelModifySubscription*) {
        subscription.Reset(); // the server goes with it, on its own thread
        done.set_value();
        return S_OK;
    });
    ASSERT_EQ(other->Subscribe(Filter(L"\\R", 0).Get(), Request(7, WithState).Get(), &sink, subscription.Out()), S_OK);
    ComponentPtr<IKelModifySubscription> second;
    ASSERT_EQ(other->Subscribe(Filter(L"\\R", 0).Get(), Request(7, 0).Get(), &sink, second.Out()), S_OK);
    other.Reset();
    second.Reset();
    ASSERT_EQ(subscription->Activate(), S_OK);
    done.get_future().wait();
    while (NodwellLiveNodes() != 5) // what the delivery held is going now; five nodes are the fixture's
        std::this_thread::yield();
}

TEST_F(ConfigServer, SubscriptionsComeAndGoWhileTheTreeChanges)
{
    std::atomic<bool> done = false;
    {
        std::jthread changing([&] {
            for (int i = 0; !done; ++i)
                server->SetAttributes(L"\\R\\A", {{L"V", std::to_wstring(i)}}, false);
        });
        std::vector<std::jthread> subscribers;
        for (int thread = 0; thread < 3; ++thread) {
            subscribers.emplace_back([&, thread] {
                for (int i = 0; i < 200; ++i) {
                    auto alive = std::make_unique<bool>(true);
                    Sink sink([&](IKelModifySubscription*) { return *alive ? S_OK : E_UNEXPECTED; });
                    auto subscription = Watch(sink, L"\\R\\A", KelnWholeTree, 7, WithState | WithContent | WholeNode);
                    if (thread != 0) {
                        EXPECT_EQ(server->Unsubscribe(subscription.Get()), S_OK);
                    }
                    subscription.Reset();
                    alive.reset();
                }
            });
        }
        subscribers.clear();
        done = true;
    }
    server->WaitUntilDelivered();
    EXPECT_EQ(server->Failures().count, 0U);
    EXPECT_EQ(server->LiveSubscriptions(), 0U);
}
