// What a notification of the configuration server tells.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Support/NodeHandle.h"
#include "Interfaces/ConfigServer.h"

#include <memory>
#include <vector>

namespace Host
{

// The entries of one notification. Each enumerator walks them by itself; `Next` answers S_FALSE behind the last one.
class ModifiedNodes final : public Component<IKelNodeModifyEnum>
{
public:
    using Entries = std::vector<NodeHandle>;

    explicit ModifiedNodes(Entries entries) : m_entries(std::make_shared<const Entries>(std::move(entries))) {}

    HRESULT GetEnumerator(IKelNodeIterator** out) override;

private:
    const std::shared_ptr<const Entries> m_entries;
};

} // namespace Host
