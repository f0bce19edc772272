// An access-info source of the host's own, with items that the site names.
#pragma once

#include "Host/Components/Component.h"
#include "Interfaces/AccessInfo.h"

#include <mutex>
#include <string>
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
    ~AccessInfoSource() override = default;

    HRESULT GetAllowedViewers(IKelNode** accessInfo) override;

    void SetItems(std::vector<AccessItem> items);
    void AddItems(const std::vector<AccessItem>& items);
    // Removes every item of these accounts.
    void RemoveAccounts(const std::vector<std::wstring>& accounts);
    // From now on the source fails with this description; an empty one ends that.
    void FailWith(std::wstring description);

private:
    const std::wstring m_name;
    std::mutex m_lock;
    std::vector<AccessItem> m_items; // m_lock
    std::wstring m_failure;          // m_lock
};

} // namespace Host
