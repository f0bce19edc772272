#include "Common/Nodes/NodeSerializer.h"

#include "Common/ErrorHandling/ErrorText.h"

#include <new>

CNodeSerializer::CNodeSerializer(KelNSerializationType type, std::uint32_t flags, std::string& output)
    : m_output(output)
{
    m_sink = [this](const void* data, std::uint32_t size) {
        m_output.append(static_cast<const char*>(data), size);
        return S_OK;
    };
    CheckHResult(KelnStartSerialization(type, flags, &CNodeSerializer::WriteToSink, this, &m_context));
}

CNodeSerializer::~CNodeSerializer()
{
    KelnCloseSerializationContext(m_context);
}

void CNodeSerializer::SerializeNodes(IKelNode* const* nodes, std::uint32_t count, std::uint32_t depth)
{
    CheckHResult(KelnSerializeNodes(m_context, nodes, count, depth));
}

void CNodeSerializer::Finalize()
{
    CheckHResult(KelnFinalizeSerialization(m_context));
}

// Called from inside the library, which no exception may pass through.
HRESULT CNodeSerializer::WriteToSink(const void* data, std::uint32_t size, void* context) noexcept
{
    try {
        return static_cast<CNodeSerializer*>(context)->m_sink(data, size);
    } catch (const HRX& e) {
        return PublishError(e);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

std::string SerializeNodesToText(IKelNode* const* nodes, std::uint32_t count, std::uint32_t flags, std::uint32_t depth)
{
    std::string text;
    CNodeSerializer serializer(KelnSerializeText, flags, text);
    if (count != 0)
        serializer.SerializeNodes(nodes, count, depth);
    serializer.Finalize();
    if (text.ends_with('\0'))
        text.pop_back();
    return text;
}
