// Immutable bytes with a counted owner: names, types and attribute values. A clone shares them with its original.
#pragma once

#include "Interfaces/ComponentPtr.h"

#include <atomic>
#include <cstdint>
#include <string_view>

// One pointer; no bytes take no memory. Copies may be used and dropped on any thread.
class SharedBytes
{
public:
    SharedBytes() = default;
    explicit SharedBytes(std::string_view bytes);
    explicit SharedBytes(std::wstring_view text);

    // The bytes of `text`; texts that were asked for lately are shared. For the few names that many nodes have in
    // common.
    static SharedBytes OfCommonText(std::wstring_view text);

    std::string_view Bytes() const { return m_block ? m_block->Bytes() : std::string_view(); }
    // For what was built from a text.
    std::wstring_view Text() const
    {
        const std::string_view bytes = Bytes();
        return {reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)};
    }

private:
    // Header of an allocation that goes on with the bytes.
    struct Block
    {
        std::atomic<std::uint32_t> references = 1;
        std::uint32_t size = 0;

        static Block* Create(std::string_view bytes);
        std::string_view Bytes() const { return {reinterpret_cast<const char*>(this + 1), size}; }
        void AddRef() { references.fetch_add(1, std::memory_order_relaxed); }
        void Release();
    };

    ComponentPtr<Block> m_block;
};
