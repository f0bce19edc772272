// What a notification of the configuration server tells.
#pragma once

#include "Host/Components/NodeHandle.h"
#include "Host/Support/Failure.h"
#include "Interfaces/Component.h"
#include "Interfaces/ConfigServer.h"

#include <memory>
#include <vector>

namespace Host
{

// The entries of one notification. Each enumerator walks them by itself; `Next` answers S_FALSE behind the last one.
class ModifiedNodes final : public Component<IKelNodeModifyEnum, IKelNodeIterator>
{
public:
    using Entries = std::vector<NodeHandle>;

    explicit ModifiedNodes(Entries entries) : ModifiedNodes(std::make_shared<const Entries>(std::move(entries))) {}

    HRESULT GetEnumerator(IKelNodeIterator** out) override
    {
        return Boundary([=, this] { return *out = new ModifiedNodes(m_entries), S_OK; });
    }

    HRESULT Reset() override { return m_next = 0, S_OK; }
    HRESULT Next(IKelNode** node) override
    {
        return m_next == m_entries->size() ? S_FALSE : KelnDuplicateNodeHandle((*m_entries)[m_next++].Get(), node);
    }

private:
    explicit ModifiedNodes(std::shared_ptr<const Entries> entries) : m_entries(std::move(entries)) {}

    const std::shared_ptr<const Entries> m_entries;
    std::size_t m_next = 0;
};

} // namespace Host
