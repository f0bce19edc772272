// The ordered children of a node, made for long lists.
#pragma once

#include "Host/Nodwell/SharedBytes.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

class Node;

// Holds no references and takes no locks: that is Node's. A child keeps its slot until it is removed or the list is
// packed; a removed child leaves an empty slot. By index: constant time while no slot is empty, else logarithmic. By
// name, appending, removing (in whatever order): amortised constant or logarithmic.
class ChildList
{
public:
    std::uint64_t Count() const { return m_count; }

    // Null when there is none. Named: the first one that has the name.
    Node* At(std::uint64_t index) const;
    Node* Named(std::wstring_view name);

    // Gives the child its slot. Changes nothing when it throws.
    void Append(Node& child);
    // May pack the list. Changes nothing when it throws.
    void Remove(std::uint32_t slot);

    // The children in order, null for empty slots.
    const std::vector<Node*>& Slots() const { return m_slots; }

    // Links the nodes that wait for their destruction.
    Node* m_nextDead = nullptr;

private:
    static constexpr std::uint32_t NoSlot = std::numeric_limits<std::uint32_t>::max();

    // By name, the chain of the slots of children so named. Slots emptied since stay in their chain until a search
    // meets them.
    class NameIndex
    {
    public:
        void Append(const SharedBytes& name, std::uint32_t slot);
        Node* Find(std::wstring_view name, const std::vector<Node*>& slots);

    private:
        struct Chain
        {
            std::uint32_t first;
            std::uint32_t last;
        };
        struct Hash
        {
            using is_transparent = void;
            std::size_t operator()(std::wstring_view text) const { return std::hash<std::wstring_view>()(text); }
            std::size_t operator()(const SharedBytes& text) const { return (*this)(text.Text()); }
        };
        struct Equal
        {
            using is_transparent = void;
            bool operator()(const SharedBytes& a, const SharedBytes& b) const { return a.Text() == b.Text(); }
            bool operator()(const SharedBytes& a, std::wstring_view b) const { return a.Text() == b; }
            bool operator()(std::wstring_view a, const SharedBytes& b) const { return a == b.Text(); }
        };

        std::unordered_map<SharedBytes, Chain, Hash, Equal> m_chains;
        std::vector<std::uint32_t> m_next; // by slot, the next one of the same name
    };

    void AppendCount();
    void Pack();

    std::vector<Node*> m_slots;
    std::uint64_t m_count = 0;
    // A Fenwick tree over the slots, 1 for each that is taken; absent while none is empty.
    std::vector<std::uint32_t> m_taken;
    // Built by the first search of a list worth it, dropped when the list is packed.
    std::unique_ptr<NameIndex> m_names;
};
