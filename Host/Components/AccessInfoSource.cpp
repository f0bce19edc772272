#include "Host/Components/AccessInfoSource.h"

#include "Host/Components/NodeAccess.h"
#include "Host/Support/Failure.h"

#include <algorithm>

namespace Host
{

namespace
{

NodeHandle MakeItem(const AccessItem& item)
{
    NodeHandle node = CreateNode(nullptr, L"AccessRightsItem");
    SetAttribute(node.Get(), L"LogonName", item.account);
    if (!item.containers.empty())
        SetAttribute(node.Get(), L"ContainerId", item.containers);
    if (item.localOnly)
        SetAttribute(node.Get(), L"IsLocalOnly", true);
    return node;
}

} // namespace

HRESULT AccessInfoSource::GetAllowedViewers(IKelNode** accessInfo)
{
    return Boundary([=, this] {
        if (!accessInfo)
            return E_POINTER;
        m_faults.Strike({}, m_name);
        const std::lock_guard guard(m_lock);
        NodeHandle list = *accessInfo ? ShareNode(*accessInfo) : CreateNode(nullptr, nullptr);
        for (const AccessItem& item : m_items)
            AddChild(list.Get(), MakeItem(item).Get());
        if (!*accessInfo)
            *accessInfo = list.Detach();
        return S_OK;
    });
}

void AccessInfoSource::SetItems(std::vector<AccessItem> items)
{
    const std::lock_guard guard(m_lock);
    m_items = std::move(items);
}

void AccessInfoSource::AddItems(const std::vector<AccessItem>& items)
{
    const std::lock_guard guard(m_lock);
    m_items.insert(m_items.end(), items.begin(), items.end());
}

std::size_t AccessInfoSource::RemoveAccounts(const std::vector<std::wstring>& accounts)
{
    const std::lock_guard guard(m_lock);
    return std::erase_if(m_items, [&](const AccessItem& item) {
        return std::find(accounts.begin(), accounts.end(), item.account) != accounts.end();
    });
}

} // namespace Host
