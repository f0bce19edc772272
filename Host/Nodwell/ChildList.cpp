#include "Host/Nodwell/ChildList.h"

#include "Host/Nodwell/Node.h"

#include <algorithm>
#include <bit>
#include <new>

Node* ChildList::At(std::uint64_t index) const
{
    if (index >= m_count)
        return nullptr;
    if (m_taken.empty())
        return m_slots[index];
    // The largest position with no more than `index` children before it.
    std::size_t position = 0;
    for (std::size_t step = std::bit_floor(m_taken.size()); step != 0; step >>= 1) {
        if (position + step <= m_taken.size() && m_taken[position + step - 1] <= index) {
            position += step;
            index -= m_taken[position - 1];
        }
    }
    return m_slots[position];
}

Node* ChildList::Named(std::wstring_view name)
{
    constexpr std::size_t worthAnIndex = 16;
    if (m_slots.size() < worthAnIndex) {
        const auto found = std::find_if(m_slots.begin(), m_slots.end(),
                                        [name](const Node* child) { return child && child->Name().Text() == name; });
        return found == m_slots.end() ? nullptr : *found;
    }
    if (!m_names) {
        auto names = std::make_unique<NameIndex>();
        for (std::uint32_t slot = 0; slot < m_slots.size(); ++slot)
            names->Append(m_slots[slot] ? m_slots[slot]->Name() : SharedBytes(), slot);
        m_names = std::move(names);
    }
    return m_names->Find(name, m_slots);
}

void ChildList::Append(Node& child)
{
    if (m_slots.size() >= NoSlot)
        throw std::bad_alloc();
    const auto slot = static_cast<std::uint32_t>(m_slots.size());
    m_slots.push_back(&child);
    try {
        if (!m_taken.empty())
            AppendCount();
        if (m_names)
            m_names->Append(child.Name(), slot);
    } catch (...) {
        m_slots.resize(slot);
        m_taken.resize(std::min<std::size_t>(m_taken.size(), slot));
        m_names.reset();
        throw;
    }
    child.m_slot = slot;
    ++m_count;
}

void ChildList::AppendCount()
{
    const std::size_t position = m_taken.size() + 1;
    const std::size_t covered = position & (0 - position);
    std::uint32_t taken = 1;
    for (std::size_t step = 1; step < covered; step <<= 1)
        taken += m_taken[position - step - 1];
    m_taken.push_back(taken);
}

void ChildList::Remove(std::uint32_t slot)
{
    if (m_taken.empty()) {
        m_taken.resize(m_slots.size());
        for (std::size_t position = 1; position <= m_taken.size(); ++position)
            m_taken[position - 1] = static_cast<std::uint32_t>(position & (0 - position));
    }
    for (std::size_t position = slot + 1ULL; position <= m_taken.size(); position += position & (0 - position))
        --m_taken[position - 1];
    m_slots[slot] = nullptr;
    --m_count;
    if (m_slots.size() / 2 >= m_count)
        Pack();
}

void ChildList::Pack()
{
    std::erase(m_slots, nullptr);
    m_slots.shrink_to_fit();
    for (std::uint32_t slot = 0; slot < m_slots.size(); ++slot)
        m_slots[slot]->m_slot = slot;
    m_taken = {};
    m_names.reset();
}

void ChildList::NameIndex::Append(const SharedBytes& name, std::uint32_t slot)
{
    m_next.push_back(NoSlot);
    const auto [chain, isNew] = m_chains.try_emplace(name, Chain{slot, slot});
    if (!isNew) {
        m_next[chain->second.last] = slot;
        chain->second.last = slot;
    }
}

Node* ChildList::NameIndex::Find(std::wstring_view name, const std::vector<Node*>& slots)
{
    const auto found = m_chains.find(name);
    if (found == m_chains.end())
        return nullptr;
    std::uint32_t& slot = found->second.first;
    while (slot != NoSlot && !slots[slot])
        slot = m_next[slot];
    if (slot != NoSlot)
        return slots[slot];
    m_chains.erase(found);
    return nullptr;
}
