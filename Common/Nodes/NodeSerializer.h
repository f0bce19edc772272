// Writing nodes as text.
#pragma once

#include "Common/Nodes/KelNodePtr.h"

#include <functional>

enum KelNSerializationType : std::uint32_t
{
    KelnSerializeText = 1, // UTF-8 text, the nodes between "<nr>" and "</nr>"
};

// One serialization into a text of the caller's, which must outlive it. Throws HRX with the library's result. One
// thread.
class CNodeSerializer
{
public:
    CNodeSerializer(KelNSerializationType type, std::uint32_t flags, std::string& output);
    ~CNodeSerializer();
    CNodeSerializer(const CNodeSerializer&) = delete;
    CNodeSerializer& operator=(const CNodeSerializer&) = delete;

    // `depth` 0: the nodes alone; 0x7FFFFFFF: whole trees.
    void SerializeNodes(IKelNode* const* nodes, std::uint32_t count, std::uint32_t depth);
    void Finalize();

private:
    static HRESULT WriteToSink(const void* data, std::uint32_t size, void* context) noexcept;

    std::function<HRESULT(const void* data, std::uint32_t size)> m_sink;
    std::string& m_output;
    void* m_context = nullptr;
};

// The UTF-8 text of the nodes, without a terminating zero.
std::string SerializeNodesToText(IKelNode* const* nodes, std::uint32_t count, std::uint32_t flags, std::uint32_t depth);
