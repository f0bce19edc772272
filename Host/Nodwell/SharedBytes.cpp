#include "Host/Nodwell/SharedBytes.h"

#include "Platform/Threads.h"

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <new>

namespace
{

std::string_view BytesOf(std::wstring_view text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

struct RecentText
{
    Platform::Mutex lock; // guards `text`
    SharedBytes text;
};

// Bounded: a text whose place another one has taken since is merely not shared.
std::array<RecentText, 256> s_recentTexts;

} // namespace

SharedBytes::SharedBytes(std::string_view bytes)
{
    if (!bytes.empty())
        m_block = ComponentPtr<Block>::Attach(Block::Create(bytes));
}

SharedBytes::SharedBytes(std::wstring_view text) : SharedBytes(BytesOf(text)) {}

SharedBytes SharedBytes::OfCommonText(std::wstring_view text)
{
    if (text.empty())
        return {};
    RecentText& recent = s_recentTexts[std::hash<std::wstring_view>()(text) % s_recentTexts.size()];
    {
        const std::lock_guard guard(recent.lock);
        if (recent.text.Text() == text)
            return recent.text;
    }
    SharedBytes made(text);
    SharedBytes replaced = made;
    const std::lock_guard guard(recent.lock);
    std::swap(recent.text, replaced);
    return made;
}

SharedBytes::Block* SharedBytes::Block::Create(std::string_view bytes)
{
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::bad_alloc();
    void* memory = ::operator new(sizeof(Block) + bytes.size());
    std::memcpy(static_cast<char*>(memory) + sizeof(Block), bytes.data(), bytes.size());
    auto* block = new (memory) Block;
    block->size = static_cast<std::uint32_t>(bytes.size());
    return block;
}

void SharedBytes::Block::Release()
{
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        this->~Block();
        ::operator delete(this);
    }
}
