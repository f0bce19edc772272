// An access-info source of the host's own, with items that the site names.
#pragma once

#include "Host/Components/FaultPlan.h"
#include "Host/Components/NodeHandle.h"
#include "Interfaces/AccessInfo.h"
#include "Interfaces/Component.h"

#include <algorithm>

namespace Host
{

struct AccessItem
{
    std::wstring account;
    std::vector<std::wstring> containers; // GUID texts; empty: not limited to particular objects
    bool localOnly = false;
};

// Any thread.
class AccessInfoSource final : public Component<IAccessInfoSource>
{
public:
    AccessInfoSource(std::wstring name, std::vector<AccessItem> items)
        : m_name(std::move(name)), m_items(std::move(items))
    {}

    HRESULT GetAllowedViewers(IKelNode** accessInfo) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"place for the list", accessInfo);
            m_faults.Strike({}, m_name);
            const std::lock_guard guard(m_lock);
            NodeHandle list = *accessInfo ? NodeHandle::Share(*accessInfo) : NodeHandle::Create(nullptr, nullptr);
            for (const AccessItem& item : m_items)
                AddItem(list, item);
            if (!*accessInfo)
                *accessInfo = list.Detach();
        });
    }

    void SetItems(std::vector<AccessItem> items)
    {
        const std::lock_guard guard(m_lock);
        m_items = std::move(items);
    }

    void AddItems(const std::vector<AccessItem>& items)
    {
        const std::lock_guard guard(m_lock);
        m_items.insert(m_items.end(), items.begin(), items.end());
    }

    // Removes every item of these accounts; returns how many there were.
    std::size_t RemoveAccounts(const std::vector<std::wstring>& accounts)
    {
        const std::lock_guard guard(m_lock);
        return std::erase_if(m_items, [&](const AccessItem& item) {
            return std::find(accounts.begin(), accounts.end(), item.account) != accounts.end();
        });
    }

    FaultPlan& Faults() { return m_faults; }

private:
    static constexpr Refusal Refuse{L"Access-info source"};

    static void AddItem(const NodeHandle& list, const AccessItem& item)
    {
        const NodeHandle node = NodeHandle::Create(nullptr, L"AccessRightsItem");
        node.Set(L"LogonName", item.account);
        if (!item.containers.empty())
            node.Set(L"ContainerId", item.containers);
        if (item.localOnly)
            node.Set(L"IsLocalOnly", true);
        list.AddChild(node);
    }

    const std::wstring m_name;
    std::mutex m_lock;
    std::vector<AccessItem> m_items; // m_lock
    FaultPlan m_faults;
};

} // namespace Host
