// Subscriptions to node changes: making and ending them, the request's nodes, and reading a notification.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ConfigServer.h"

#include <functional>

inline constexpr wchar_t ConfigServerProxyName[] = L"ConfigServer.Proxy";

// "SubscribeConfig", for all kinds of changes. `options` belong to the configuration server.
KelNodePtr MakeSubscribeRequest(std::int32_t options);

// "FilterByPath". `maxDepth`: levels watched below the path; 0 for the node alone, 0x7FFFFFFF for all.
KelNodePtr MakePathFilter(const std::wstring& path, bool isParent, std::int64_t maxDepth);
void SetMaxDepth(const KelNodePtr& filter, std::int64_t maxDepth);

// A subscription at the server that made it, which is not necessarily the one that its name finds later on. Ends with
// the object. Not synchronised.
class Subscription
{
public:
    Subscription() = default; // none

    // Subscribes and reads the identifier. Throws HRX when that fails or the server hands out no subscription
    // (E_POINTER).
    Subscription(const ComponentPtr<IConfigServerProxy>& server, const KelNodePtr& filter, const KelNodePtr& request,
                 IModifySubscriptionSink* sink);
    ~Subscription() { End(); }
    Subscription(Subscription&&) noexcept = default;
    Subscription& operator=(Subscription other) noexcept
    {
        std::swap(m_server, other.m_server);
        std::swap(m_subscription, other.m_subscription);
        std::swap(m_id, other.m_id);
        return *this;
    }

    // What the server answers is ignored. It may wait for notifications in progress: no lock that these need is held.
    void End() noexcept;

    void Activate() const;
    const GUID& Id() const { return m_id; }
    bool Is(const IKelModifySubscription* subscription) const { return m_subscription.Get() == subscription; }
    explicit operator bool() const { return bool(m_subscription); }

private:
    ComponentPtr<IConfigServerProxy> m_server;
    ComponentPtr<IKelModifySubscription> m_subscription;
    GUID m_id{};
};

// One entry of a notification.
struct ModifiedNode
{
    std::wstring path;
    std::uint32_t changesMask; // low 32 bits of what the server sent
    KelNodePtr node;           // empty when the entry carries none
};

// Calls `callback` for each entry in order. Throws HRX for an entry without path or mask; entries before it were passed
// on, later ones are not. E_POINTER when there is no enumerator.
void ForEachModifiedNode(IKelNodeModifyEnum* modifiedNodes, const std::function<void(const ModifiedNode&)>& callback);
