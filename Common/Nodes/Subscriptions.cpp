#include "Common/Nodes/Subscriptions.h"

#include "Common/ErrorHandling/HResult.h"

namespace
{

constexpr std::int32_t AllChanges = 7;

ModifiedNode ReadModifiedNode(const KelNodePtr& entry)
{
    ModifiedNode record;
    record.path = entry.GetString(L"ModifiedNodePath");
    std::int64_t changesMask = 0;
    if (!entry.TryGetInt64(L"ChangesMask", changesMask))
        ThrowHResult(HResultFromWin32(ERROR_NOT_FOUND));
    record.changesMask = static_cast<std::uint32_t>(changesMask);
    record.node = entry.GetChildByIndex(0, false);
    return record;
}

} // namespace

// Delegates, so that the destructor ends the subscription when the rest of the body fails.
Subscription::Subscription(const ComponentPtr<IConfigServerProxy>& server, const KelNodePtr& filter,
                           const KelNodePtr& request, IModifySubscriptionSink* sink)
    : Subscription()
{
    m_server = server;
    CheckHResult(server->Subscribe(filter.Get(), request.Get(), sink, m_subscription.Out()));
    CheckPointer(m_subscription.Get());
    CheckHResult(m_subscription->GetId(&m_id));
}

void Subscription::End() noexcept
{
    const auto server = std::move(m_server);
    const auto subscription = std::move(m_subscription);
    if (!subscription)
        return;
    try {
        server->Unsubscribe(subscription.Get());
    } catch (...) {
        // Other subscriptions must be ended as well.
    }
}

void Subscription::Activate() const
{
    CheckHResult(m_subscription->Activate());
}

KelNodePtr MakeSubscribeRequest(std::int32_t options)
{
    KelNodePtr request = CreateKelNode(L"SubscribeConfig", nullptr);
    request.SetInt32(L"ChangesMask", AllChanges);
    request.SetInt32(L"SubscribeOptions", options);
    return request;
}

KelNodePtr MakePathFilter(const std::wstring& path, bool isParent, std::int64_t maxDepth)
{
    KelNodePtr filter = CreateKelNode(nullptr, L"FilterByPath");
    filter.SetString(L"NodePath", path);
    filter.SetBool(L"IsParent", isParent);
    SetMaxDepth(filter, maxDepth);
    return filter;
}

void SetMaxDepth(const KelNodePtr& filter, std::int64_t maxDepth)
{
    filter.SetInt64(L"MaxDepth", maxDepth);
}

void ForEachModifiedNode(IKelNodeModifyEnum* modifiedNodes, const std::function<void(const ModifiedNode&)>& callback)
{
    CheckPointer(modifiedNodes);
    ComponentPtr<IKelNodeIterator> iterator;
    CheckHResult(modifiedNodes->GetEnumerator(iterator.Out()));
    CheckPointer(iterator.Get());
    iterator->Reset();
    for (;;) {
        KelNodePtr entry;
        if (iterator->Next(entry.Out()) != S_OK)
            return;
        callback(ReadModifiedNode(entry));
    }
}
