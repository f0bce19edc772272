// An access-info source of the host's own, with items that the site names.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Components/FaultPlan.h"
#include "Interfaces/AccessInfo.h"

#include <vector>

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

    HRESULT GetAllowedViewers(IKelNode** accessInfo) override;

    void SetItems(std::vector<AccessItem> items);
    void AddItems(const std::vector<AccessItem>& items);
    // Removes every item of these accounts.
    std::size_t RemoveAccounts(const std::vector<std::wstring>& accounts);
    FaultPlan& Faults() { return m_faults; }

private:
    const std::wstring m_name;
    std::mutex m_lock;
    std::vector<AccessItem> m_items; // m_lock
    FaultPlan m_faults;
};

} // namespace Host
