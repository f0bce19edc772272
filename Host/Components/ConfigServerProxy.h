// The configuration server of the reference host: a live tree of configuration nodes and the subscriptions to it.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/DeliveryThread.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/ConfigServer.h"

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
                      IKelModifySubscription** out) override;
    // HResultFromWin32(ERROR_NOT_FOUND) when the subscription has ended already.
    HRESULT Unsubscribe(IKelModifySubscription* subscription) override;

    // For the host program; any thread. They throw Failure, without having changed anything, when the path is no path
    // of this tree or the node is missing.

    // Sets attributes of the node at `path`; every call counts as a change. With `create` a missing node is added, with
    // the nodes on the way to it.
    void SetAttributes(const std::wstring& path, const std::vector<Attribute>& attributes, bool create);
    // Removes the node at `path`, which is not the root, with everything below it.
    void RemoveNode(const std::wstring& path);

    void WaitUntilDelivered() { m_deliveries.WaitUntilDelivered(); }
    std::size_t LiveSubscriptions() const;
    FailureCount Failures() const { return m_deliveries.Failures(); }

private:
    class Subscription;
    struct Change;

    HRESULT Activate(Subscription& subscription);
    HRESULT End(IKelModifySubscription* subscription);
    void Notify(const std::vector<Change>& changes);
    void Post(const Subscription& subscription, std::int32_t mask, std::vector<NodeHandle> entries);
    NodeHandle MakeEntry(const Subscription& subscription, const Change& change) const;

    mutable std::mutex m_lock;
    const NodeHandle m_root;                    // the tree: m_lock
    std::vector<Subscription*> m_subscriptions; // m_lock
    DeliveryThread m_deliveries;
};

} // namespace Host
