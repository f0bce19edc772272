#include "Host/Nodwell/Node.h"

#include "Host/Nodwell/Failures.h"
#include "Host/Nodwell/Instruments.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace
{

Platform::Mutex s_structure;

} // namespace

Node::Node(SharedBytes name, SharedBytes type) : m_name(std::move(name)), m_type(std::move(type))
{
    Instruments::liveNodes.fetch_add(1, std::memory_order_relaxed);
}

Node::~Node()
{
    Instruments::liveNodes.fetch_sub(1, std::memory_order_relaxed);
}

Node::Ptr Node::Create(SharedBytes name, SharedBytes type)
{
    return Ptr::Attach(new Node(std::move(name), std::move(type)));
}

void Node::Release()
{
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Destroy(this);
}

bool Node::TryAddRef()
{
    uint32_t references = m_references.load(std::memory_order_relaxed);
    while (references != 0) {
        if (m_references.compare_exchange_weak(references, references + 1, std::memory_order_relaxed))
            return true;
    }
    return false;
}

void Node::Destroy(Node* last)
{
    Node* dead = nullptr;
    const auto bury = [&dead](Node* node) {
        if (!node->m_children) {
            delete node;
            return;
        }
        node->m_children->m_nextDead = std::exchange(dead, node);
    };
    bury(last);
    while (dead) {
        Node* node = std::exchange(dead, dead->m_children->m_nextDead);
        for (Node* child : node->m_children->Slots()) {
            if (!child)
                continue;
            node->Unlink(*child);
            if (child->m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
                bury(child);
        }
        delete node;
    }
}

// The child may have got another parent in the meantime: it became a root when this node's last reference went.
void Node::Unlink(Node& child)
{
    const std::lock_guard structure(s_structure);
    const std::lock_guard guard(child.m_lock);
    if (child.m_parent == this)
        child.m_parent = nullptr;
}

Node* Node::LiveParent() const
{
    return m_parent && m_parent->m_references.load(std::memory_order_acquire) != 0 ? m_parent : nullptr;
}

std::wstring Node::Path() const
{
    const std::lock_guard structure(s_structure);
    return PathUnderLock();
}

std::wstring Node::ParentPath() const
{
    const std::lock_guard structure(s_structure);
    const Node* parent = LiveParent();
    return parent ? parent->PathUnderLock() : std::wstring(m_origin.Text());
}

std::wstring Node::PathUnderLock() const
{
    std::vector<const Node*> up{this};
    while (const Node* parent = up.back()->LiveParent())
        up.push_back(parent);
    std::wstring path(up.back()->m_origin.Text());
    std::for_each(up.rbegin(), up.rend(), [&path](const Node* node) {
        path += L'\\';
        path += node->m_name.Text();
    });
    return path;
}

Node::Ptr Node::Parent()
{
    const std::lock_guard guard(m_lock);
    return m_parent && m_parent->TryAddRef() ? Ptr::Attach(m_parent) : nullptr;
}

uint64_t Node::ChildCount() const
{
    const std::lock_guard guard(m_lock);
    return m_children ? m_children->Count() : 0;
}

Node::Ptr Node::Child(uint64_t index)
{
    const std::lock_guard guard(m_lock);
    return Ptr(m_children ? m_children->At(index) : nullptr);
}

Node::Ptr Node::Child(std::wstring_view name)
{
    const std::lock_guard guard(m_lock);
    return Ptr(m_children ? m_children->Named(name) : nullptr);
}

void Node::AddChild(Node& child)
{
    const std::lock_guard structure(s_structure);
    if (child.LiveParent())
        Refuse(E_INVALIDARG, L"node '" + child.PathUnderLock() + L"' has a parent already");
    // A child without children, the ordinary case, has nothing below it.
    const bool isLeaf = child.ChildCount() == 0;
    for (const Node* node = this; node; node = isLeaf ? nullptr : node->LiveParent()) {
        if (node == &child)
            Refuse(E_INVALIDARG,
                   L"node '" + child.PathUnderLock() + L"' cannot be a child of itself or of a node below it");
    }
    {
        const std::lock_guard guard(m_lock);
        List(child);
        child.AddRef();
    }
    const std::lock_guard guard(child.m_lock);
    child.m_parent = this;
    child.m_origin = {};
}

void Node::List(Node& child)
{
    if (!m_children)
        m_children = std::make_unique<ChildList>();
    m_children->Append(child);
}

bool Node::RemoveChild(Node& child)
{
    {
        const std::lock_guard structure(s_structure);
        if (child.m_parent != this)
            return false;
        {
            const std::lock_guard guard(m_lock);
            m_children->Remove(child.m_slot);
        }
        const std::lock_guard guard(child.m_lock);
        child.m_parent = nullptr;
    }
    child.Release();
    return true;
}

void Node::SetAttribute(std::wstring_view name, Value value)
{
    SharedBytes sharedName = SharedBytes::OfCommonText(name);
    const std::lock_guard guard(m_lock);
    const auto found = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [name](const NodeAttribute& attribute) { return attribute.name.Text() == name; });
    if (found == m_attributes.end())
        m_attributes.push_back({std::move(sharedName), std::move(value)});
    else
        std::swap(found->value, value); // the old one is destroyed when the lock has been left
}

bool Node::FindAttribute(std::wstring_view name, Value& value) const
{
    const std::lock_guard guard(m_lock);
    for (const NodeAttribute& attribute : m_attributes) {
        if (attribute.name.Text() == name) {
            value = attribute.value;
            return true;
        }
    }
    return false;
}

Node::Snapshot Node::Look(bool withChildren) const
{
    const std::lock_guard guard(m_lock);
    Snapshot snapshot{m_attributes, {}};
    if (withChildren && m_children) {
        snapshot.children.reserve(m_children->Count());
        for (Node* child : m_children->Slots()) {
            if (child)
                snapshot.children.emplace_back(Ptr(child));
        }
    }
    return snapshot;
}

Node::Ptr Node::Clone(uint64_t depth)
{
    struct Step
    {
        Ptr original;
        Node* copy;
        uint64_t level;
    };
    Ptr clone = Create(m_name, m_type);
    clone->m_origin = SharedBytes(ParentPath());
    std::vector<Step> steps;
    steps.push_back({Ptr(this), clone.Get(), 0});
    while (!steps.empty()) {
        const Step step = std::move(steps.back());
        steps.pop_back();
        Snapshot snapshot = step.original->Look(step.level < depth);
        step.copy->m_attributes = std::move(snapshot.attributes);
        for (Ptr& child : snapshot.children) {
            Ptr copy = Create(child->m_name, child->m_type);
            step.copy->List(*copy);
            copy->m_parent = step.copy;
            steps.push_back({std::move(child), copy.Detach(), step.level + 1}); // the clone's reference now
        }
    }
    return clone;
}
