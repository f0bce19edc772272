#include "Host/Components/ModifiedNodes.h"

#include "Host/Support/Failure.h"

namespace Host
{

namespace
{

class Iterator final : public Component<IKelNodeIterator>
{
public:
    explicit Iterator(std::shared_ptr<const ModifiedNodes::Entries> entries) : m_entries(std::move(entries)) {}
    ~Iterator() override = default;

    HRESULT Reset() override
    {
        m_next = 0;
        return S_OK;
    }

    HRESULT Next(IKelNode** node) override
    {
        if (!node)
            return E_POINTER;
        if (m_next == m_entries->size())
            return S_FALSE;
        return KelnDuplicateNodeHandle((*m_entries)[m_next++].Get(), node);
    }

private:
    const std::shared_ptr<const ModifiedNodes::Entries> m_entries;
    std::size_t m_next = 0;
};

} // namespace

HRESULT ModifiedNodes::GetEnumerator(IKelNodeIterator** out)
{
    return Boundary([=, this] {
        if (!out)
            return E_POINTER;
        *out = MakeComponent<Iterator>(m_entries).Detach();
        return S_OK;
    });
}

} // namespace Host
