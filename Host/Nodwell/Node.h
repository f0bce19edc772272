// A node of a tree: what an IKelNode handle points at.
#pragma once

#include "Host/Nodwell/Value.h"
#include "Interfaces/ComponentPtr.h"
#include "Platform/Threads.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct IKelNode
{};

struct NodeAttribute
{
    std::wstring name;
    Value value;
};

// Every function needs s_lock, except where it says otherwise. References are counted: one for each handle and one from
// the parent. Failures are raised as Host::Failure.
class Node : public IKelNode
{
public:
    using Ptr = ComponentPtr<Node>;

    static inline Platform::Mutex s_lock; // guards all nodes and what they share
    static inline uint64_t s_live = 0;    // s_lock

    static Ptr Create(std::wstring_view name, std::wstring_view type);
    Node& operator=(const Node&) = delete;

    void AddRef() { ++m_references; }
    void Release();

    // They never change and need no lock.
    const std::wstring& Name() const { return m_labels->name; }
    const std::wstring& Type() const { return m_labels->type; }
    // The names from the root down, each preceded by a backslash. In a clone they start with the original's parents.
    std::wstring Path() const;

    Node* Parent() const { return m_parent; }
    std::size_t ChildCount() const { return m_children.size() - m_gaps; }
    // In order.
    const std::vector<Node*>& Children();
    // The first one with that name; null when there is none.
    Node* Child(std::wstring_view name);
    // E_INVALIDARG for a child that has a parent already or has `this` below it.
    void AddChild(Node& child);
    // False when it is no child of this node.
    bool RemoveChild(Node& child);

    const std::vector<NodeAttribute>& Attributes() const;
    // Null when there is none.
    const Value* FindAttribute(std::wstring_view name) const;
    void SetAttribute(std::wstring_view name, Value value);

    Ptr Clone(uint64_t depth);

private:
    struct Labels
    {
        std::wstring name;
        std::wstring type;
    };
    using NameIndex = std::unordered_map<std::wstring_view, Node*>;

    explicit Node(std::shared_ptr<const Labels> labels) : m_labels(std::move(labels)) { ++s_live; }
    // A copy without relatives.
    Node(const Node& original) : IKelNode(), m_labels(original.m_labels), m_attributes(original.m_attributes)
    {
        ++s_live;
    }
    ~Node() { --s_live; }

    void Append(Node& child);

    uint32_t m_references = 1;
    uint32_t m_slot = 0; // the place among the parent's children
    Node* m_parent = nullptr;
    const std::shared_ptr<const Labels> m_labels;
    // Shared with clones until one of them changes; null while there are none.
    std::shared_ptr<std::vector<NodeAttribute>> m_attributes;
    std::vector<Node*> m_children;              // null where one was removed, until they are read
    std::size_t m_gaps = 0;                     // how many are null
    std::unique_ptr<NameIndex> m_byName;        // of a long list: built by the first search, dropped by a removal
    std::unique_ptr<std::wstring> m_originPath; // of a clone's root: the path of the original's parent
};
