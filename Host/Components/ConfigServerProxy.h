// The configuration server of the reference host: a live tree of configuration nodes and the subscriptions to it.
#pragma once

#include "Host/Components/DeliveryThread.h"
#include "Host/Components/ModifiedNodes.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/Component.h"
#include "Interfaces/ConfigServer.h"

#include <algorithm>
#include <functional>
#include <mutex>

namespace Host
{

// Paths are those of the node library: the root's name comes first ("\Configuration\Security").
//
// A subscription needs a filter of node type "FilterByPath" with `NodePath`, `IsParent` (false: nothing else is
// supported) and `MaxDepth` (levels below the path that are watched too), and a request named "SubscribeConfig" with
// `ChangesMask` (the changes to tell: 1 added, 2 changed, 4 removed) and `SubscribeOptions`, a sum of
//   1  after `Activate` the current state of the watched node is told first, as added, when there is such a node;
//   2  entries carry the content of the node;
//   8  the content is the watched node with everything below it; without 8 it is the changed node alone.
// E_INVALIDARG and a description for whatever is missing or not understood. The path need not exist (yet).
//
// Each change is one notification with an entry per node concerned: `ModifiedNodePath`, `ChangesMask` (what happened,
// as above) and the content, as it was right after the change, as first child. A removed node has no content; with
// option 8 the content is there as long as the watched node is.
//
// Notifications start with `Activate` and come one at a time, in order, on one thread of the server's own, with no lock
// held. Ending a subscription, by `Unsubscribe` or by releasing its last reference, waits for a notification in
// progress, except on that thread.
class ConfigServerProxy final : public Component<IConfigServerProxy>
{
public:
    static constexpr wchar_t InstanceName[] = L"ConfigServer.Proxy";

    explicit ConfigServerProxy(NodeHandle root) : m_root(std::move(root)) {}

    HRESULT Subscribe(IKelNode* filter, IKelNode* request, IModifySubscriptionSink* sink,
                      IKelModifySubscription** out) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"filter, request, sink, or place for the subscription", filter, request, sink, out);
            const auto created =
                std::make_shared<Subscription>(ComponentPtr<ConfigServerProxy>(this),
                                               ReadTerms(NodeHandle::Share(filter), NodeHandle::Share(request)), sink);
            const std::lock_guard guard(m_lock);
            m_subscriptions.push_back(created.get());
            created->self = created;
            *out = created.get();
        });
    }

    // HResultFromWin32(ERROR_NOT_FOUND) when the subscription has ended already.
    HRESULT Unsubscribe(IKelModifySubscription* subscription) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"subscription", subscription);
            return End(subscription);
        });
    }

    // For the host program; any thread. They throw Failure, without having changed anything, when the path is no path
    // of this tree or the node is missing.

    // Sets attributes of the node at `path`; every call counts as a change. With `create` a missing node is added, with
    // the nodes on the way to it.
    void SetAttributes(const std::wstring& path, const std::vector<Attribute>& attributes, bool create)
    {
        const std::vector<std::wstring> names = SplitNodePath(path);
        const std::lock_guard guard(m_lock);
        if (names.empty() || names.front() != m_root.Name())
            Refuse(NotFound, L"'" + path + L"' is no path of this tree");

        std::vector<Change> changes;
        NodeHandle node = m_root.Share();
        std::wstring walked = L"\\" + names.front();
        for (std::size_t i = 1; i < names.size(); ++i) {
            walked += L'\\' + names[i];
            NodeHandle child = node.FindChild(names[i]);
            if (!child) {
                if (!create)
                    Refuse(NotFound, L"there is no node '" + walked + L"'");
                child = NodeHandle::Create(names[i].c_str(), nullptr);
                node.AddChild(child);
                changes.push_back({walked, Added, child.Share()});
            }
            node = std::move(child);
        }
        for (const Attribute& attribute : attributes)
            node.Set(attribute.name, attribute.value);
        if (changes.empty())
            changes.push_back({path, Changed, std::move(node)});
        Notify(changes);
    }

    // Removes the node at `path`, which is not the root, with everything below it.
    void RemoveNode(const std::wstring& path)
    {
        const std::lock_guard guard(m_lock);
        const NodeHandle node = m_root.Find(path);
        if (!node || node.Get() == m_root.Get())
            Refuse(NotFound, L"there is no node '" + path + L"' that could be removed");
        std::vector<Change> changes;
        AppendRemovals(node, changes);
        Check(KelnRemoveChild(node.Parent().Get(), node.Get()));
        Notify(changes);
    }

    void WaitUntilDelivered() { m_deliveries.WaitUntilDelivered(); }
    FailureCount Failures() const { return m_deliveries.Failures(); }

private:
    static constexpr std::int32_t Added = 1;
    static constexpr std::int32_t Changed = 2;
    static constexpr std::int32_t Removed = 4;
    static constexpr std::int32_t AllChanges = Added | Changed | Removed;

    static constexpr std::int32_t TellCurrentState = 1;
    static constexpr std::int32_t WithContent = 2;
    static constexpr std::int32_t WholeWatchedNode = 8;
    static constexpr std::int32_t AllOptions = TellCurrentState | WithContent | WholeWatchedNode;

    static constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);

    static constexpr Refusal Refuse{L"Configuration server"};

    struct Terms
    {
        std::wstring path;
        std::int64_t maxDepth;
        std::int32_t mask;
        std::int32_t options;
    };

    struct Change
    {
        std::wstring path;
        std::int32_t mask;
        NodeHandle node; // empty when it has been removed
    };

    // References count its holders. A delivery keeps the object alive without being a holder: the subscription ends
    // when the last holder releases it.
    class Subscription final : public Component<IKelModifySubscription>
    {
    public:
        Subscription(ComponentPtr<ConfigServerProxy> server, Terms given, IModifySubscriptionSink* called)
            : terms(std::move(given)), sink(called), m_server(std::move(server)), m_number(++s_last)
        {}

        HRESULT Activate() override
        {
            return Boundary([this] { return m_server->Activate(*this); });
        }
        HRESULT GetId(GUID* id) override
        {
            return Boundary([=, this] {
                Refuse.IfNull(L"place for the identifier", id);
                *id = {m_number, 0, 0, {}};
            });
        }

        bool Concerns(const Change& change) const
        {
            if (!active || (change.mask & terms.mask) == 0 || !change.path.starts_with(terms.path))
                return false;
            const std::wstring_view below = std::wstring_view(change.path).substr(terms.path.size());
            return (below.empty() || below.front() == L'\\') &&
                   std::count(below.begin(), below.end(), L'\\') <= terms.maxDepth;
        }

        const Terms terms;
        IModifySubscriptionSink* const sink;
        bool active = false;                // the server's m_lock
        std::shared_ptr<Subscription> self; // until the last holder releases it

    private:
        void Dispose() override
        {
            m_server->End(this);
            const std::shared_ptr<Subscription> last = std::move(self);
        }

        static inline std::atomic<std::uint32_t> s_last{0};

        const ComponentPtr<ConfigServerProxy> m_server;
        const std::uint32_t m_number;
    };

    // What `read` reads of an attribute of the filter or the request.
    template <class Read>
    static auto Required(const Read& read, const NodeHandle& node, const wchar_t* attribute)
    {
        const auto value = std::invoke(read, node, attribute);
        if (!value)
            Refuse(E_INVALIDARG, std::wstring(L"the subscription has no attribute '") + attribute + L"'");
        return *value;
    }

    static void AppendRemovals(const NodeHandle& node, std::vector<Change>& changes)
    {
        changes.push_back({node.Name(KelnPath), Removed, {}});
        for (std::uint64_t i = 0, count = node.ChildCount(); i < count; ++i)
            AppendRemovals(node.ChildAt(i), changes);
    }

    static Terms ReadTerms(const NodeHandle& filter, const NodeHandle& request)
    {
        if (filter.Type() != L"FilterByPath")
            Refuse(E_INVALIDARG, L"unknown filter type '" + filter.Type() + L"', expected 'FilterByPath'");
        if (request.Name() != L"SubscribeConfig")
            Refuse(E_INVALIDARG, L"unknown request '" + request.Name() + L"', expected 'SubscribeConfig'");
        Terms terms{Required(&NodeHandle::ReadText, filter, L"NodePath"),
                    Required(&NodeHandle::ReadInt64, filter, L"MaxDepth"),
                    Required(&NodeHandle::ReadInt32, request, L"ChangesMask"),
                    Required(&NodeHandle::ReadInt32, request, L"SubscribeOptions")};
        if (Required(&NodeHandle::ReadBool, filter, L"IsParent"))
            Refuse(E_INVALIDARG, L"filters with IsParent true are not supported");
        if (SplitNodePath(terms.path).empty())
            Refuse(E_INVALIDARG, L"NodePath '" + terms.path + L"' is no path, expected the form '\\Name\\Name'");
        if (terms.maxDepth < 0)
            Refuse(E_INVALIDARG, L"MaxDepth is " + std::to_wstring(terms.maxDepth) + L", expected 0 or more");
        if (terms.mask <= 0 || (terms.mask & ~AllChanges) != 0)
            Refuse(E_INVALIDARG, L"ChangesMask is " + std::to_wstring(terms.mask) + L", expected 1 to 7");
        if (terms.options < 0 || (terms.options & ~AllOptions) != 0)
            Refuse(E_INVALIDARG,
                   L"SubscribeOptions is " + std::to_wstring(terms.options) + L", expected a sum of 1, 2 and 8");
        return terms;
    }

    HRESULT Activate(Subscription& subscription)
    {
        const std::lock_guard guard(m_lock);
        if (std::find(m_subscriptions.begin(), m_subscriptions.end(), &subscription) == m_subscriptions.end())
            Refuse(NotFound, L"the subscription has ended");
        if (std::exchange(subscription.active, true))
            return S_FALSE;
        if ((subscription.terms.options & TellCurrentState) == 0)
            return S_OK;
        if (NodeHandle watched = m_root.Find(subscription.terms.path)) {
            std::vector<NodeHandle> entries;
            entries.push_back(MakeEntry(subscription, {subscription.terms.path, Added, std::move(watched)}));
            Post(subscription, Added, std::move(entries));
        }
        return S_OK;
    }

    HRESULT End(IKelModifySubscription* subscription)
    {
        {
            const std::lock_guard guard(m_lock);
            if (std::erase(m_subscriptions, subscription) == 0)
                return NotFound;
        }
        m_deliveries.Cancel(subscription);
        return S_OK;
    }

    void Notify(const std::vector<Change>& changes)
    {
        for (const Subscription* subscription : m_subscriptions) {
            std::int32_t mask = 0;
            std::vector<NodeHandle> entries;
            for (const Change& change : changes) {
                if (!subscription->Concerns(change))
                    continue;
                mask |= change.mask;
                entries.push_back(MakeEntry(*subscription, change));
            }
            if (!entries.empty())
                Post(*subscription, mask, std::move(entries));
        }
    }

    void Post(const Subscription& subscription, std::int32_t mask, std::vector<NodeHandle> entries)
    {
        const IKelModifySubscription* const recipient = &subscription;
        m_deliveries.Post(recipient,
                          [self = subscription.self, mask, nodes = MakeComponent<ModifiedNodes>(std::move(entries))] {
                              return self->sink->OnTriggered(self.get(), mask, nodes.Get());
                          });
    }

    NodeHandle MakeEntry(const Subscription& subscription, const Change& change) const
    {
        NodeHandle entry = NodeHandle::Create(nullptr, nullptr);
        entry.Set(L"ModifiedNodePath", change.path);
        entry.Set(L"ChangesMask", std::int64_t{change.mask});
        if ((subscription.terms.options & WithContent) == 0)
            return entry;
        const bool whole = (subscription.terms.options & WholeWatchedNode) != 0;
        const NodeHandle watched = whole ? m_root.Find(subscription.terms.path) : NodeHandle();
        if (const NodeHandle& content = whole ? watched : change.node)
            entry.AddChild(content.Clone(whole ? KelnWholeTree : 0));
        return entry;
    }

    std::mutex m_lock;
    const NodeHandle m_root;                    // the tree: m_lock
    std::vector<Subscription*> m_subscriptions; // m_lock
    DeliveryThread m_deliveries;
};

} // namespace Host
