// A node of a tree: what an IKelNode handle points at.
#pragma once

#include "Host/Nodwell/ChildList.h"
#include "Host/Nodwell/Value.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/Nodwell.h"
#include "Platform/Threads.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

struct IKelNode
{};

struct NodeAttribute
{
    SharedBytes name;
    Value value;
};

// References are counted: one for each handle and one from the parent. Every operation is atomic and may be called on
// any thread. Failures are raised as Host::Failure.
//
// Locks. Name and type never change. The rest of a node is guarded by its own lock; what ties it to others (children,
// parent, slot, origin) changes only with the structure lock of the process held as well, so it may be read under
// either. The structure lock comes first, then the lock of one node.
// A node is destroyed with none of its children linked to it any more, and unlinking takes both locks: a parent seen
// under either of them is there, if only to find that its last reference has gone, which makes the child a root.
class Node : public IKelNode
{
public:
    using Ptr = ComponentPtr<Node>;

    // What one look at a node gives.
    struct Snapshot
    {
        std::vector<NodeAttribute> attributes;
        std::vector<Ptr> children;
    };

    static Ptr Create(SharedBytes name, SharedBytes type);
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    void AddRef() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void Release();

    const SharedBytes& Name() const { return m_name; }
    const SharedBytes& Type() const { return m_type; }
    // The names from the root down, each preceded by a backslash. In a clone they start with the original's parents.
    std::wstring Path() const;

    // Null: there is none.
    Ptr Parent();
    uint64_t ChildCount() const;
    Ptr Child(uint64_t index);
    Ptr Child(std::wstring_view name);
    // E_INVALIDARG for a child that has a parent already or has `this` below it.
    void AddChild(Node& child);
    // False when it is no child of this node.
    bool RemoveChild(Node& child);

    void SetAttribute(std::wstring_view name, Value value);
    // False when there is none.
    bool FindAttribute(std::wstring_view name, Value& value) const;

    Snapshot Look(bool withChildren) const;

    // Each node is copied as it is when its turn comes.
    Ptr Clone(uint64_t depth);

private:
    friend class ChildList;

    Node(SharedBytes name, SharedBytes type);
    ~Node();

    bool TryAddRef();
    Node* LiveParent() const;
    std::wstring ParentPath() const;
    std::wstring PathUnderLock() const;
    void List(Node& child);
    void Unlink(Node& child);
    static void Destroy(Node* last);

    std::atomic<uint32_t> m_references = 1;
    mutable Platform::Mutex m_lock;
    const SharedBytes m_name;
    const SharedBytes m_type;
    std::vector<NodeAttribute> m_attributes; // m_lock
    // m_lock; only the part of a list that searches build may change without the structure lock.
    std::unique_ptr<ChildList> m_children;
    Node* m_parent = nullptr; // structure lock and m_lock
    SharedBytes m_origin;     // structure lock; of a clone's root, the path of the original's parent
    uint32_t m_slot = 0;      // structure lock; the place among the parent's children
};
