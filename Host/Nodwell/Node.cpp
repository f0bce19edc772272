#include "Host/Nodwell/Node.h"

#include <algorithm>
#include <utility>

Node::Ptr Node::Create(std::wstring_view name, std::wstring_view type)
{
    return Ptr::Attach(new Node(std::make_shared<const Labels>(Labels{std::wstring(name), std::wstring(type)})));
}

void Node::Release()
{
    if (--m_references != 0)
        return;
    // Nodes to delete are linked by their parent pointers: deep trees need no stack, and nothing here allocates.
    Node* dead = this;
    while (dead) {
        Node* const node = std::exchange(dead, dead->m_parent);
        for (Node* const child : node->m_children) {
            if (!child)
                continue;
            child->m_parent = nullptr;
            if (--child->m_references == 0)
                child->m_parent = std::exchange(dead, child);
        }
        delete node;
    }
}

std::wstring Node::Path() const
{
    std::vector<const Node*> up{this};
    while (up.back()->m_parent)
        up.push_back(up.back()->m_parent);
    std::wstring path = up.back()->m_originPath ? *up.back()->m_originPath : std::wstring();
    std::for_each(up.rbegin(), up.rend(), [&path](const Node* node) { path.append(1, L'\\').append(node->Name()); });
    return path;
}

const std::vector<Node*>& Node::Children()
{
    if (std::exchange(m_gaps, 0) != 0) {
        std::erase(m_children, nullptr);
        for (uint32_t slot = 0; slot < m_children.size(); ++slot)
            m_children[slot]->m_slot = slot;
    }
    return m_children;
}

Node* Node::Child(std::wstring_view name)
{
    constexpr std::size_t worthAnIndex = 16;
    const std::vector<Node*>& children = Children();
    if (children.size() < worthAnIndex) {
        const auto found =
            std::find_if(children.begin(), children.end(), [name](const Node* child) { return child->Name() == name; });
        return found == children.end() ? nullptr : *found;
    }
    if (!m_byName) {
        auto index = std::make_unique<NameIndex>();
        for (Node* const child : children)
            index->try_emplace(child->Name(), child);
        m_byName = std::move(index);
    }
    const auto found = m_byName->find(name);
    return found == m_byName->end() ? nullptr : found->second;
}

void Node::AddChild(Node& child)
{
    if (child.m_parent)
        Refuse(E_INVALIDARG, L"node '" + child.Path() + L"' has a parent already");
    // A child without children has nothing below it.
    for (const Node* node = this; node; node = child.m_children.empty() ? nullptr : node->m_parent) {
        if (node == &child)
            Refuse(E_INVALIDARG, L"node '" + child.Path() + L"' cannot be a child of itself or of a node below it");
    }
    Append(child);
    child.AddRef();
    child.m_originPath.reset();
}

void Node::Append(Node& child)
{
    std::unique_ptr<NameIndex> index =
        std::move(m_byName); // lost when the following throws, which changes nothing else
    if (index)
        index->try_emplace(child.Name(), &child);
    m_children.push_back(&child);
    m_byName = std::move(index);
    child.m_slot = static_cast<uint32_t>(m_children.size() - 1);
    child.m_parent = this;
}

bool Node::RemoveChild(Node& child)
{
    if (child.m_parent != this)
        return false;
    m_byName.reset();
    m_children[child.m_slot] = nullptr;
    ++m_gaps;
    child.m_parent = nullptr;
    child.Release();
    return true;
}

const std::vector<NodeAttribute>& Node::Attributes() const
{
    static const std::vector<NodeAttribute> none;
    return m_attributes ? *m_attributes : none;
}

const Value* Node::FindAttribute(std::wstring_view name) const
{
    for (const NodeAttribute& attribute : Attributes()) {
        if (attribute.name == name)
            return &attribute.value;
    }
    return nullptr;
}

void Node::SetAttribute(std::wstring_view name, Value value)
{
    if (!m_attributes || m_attributes.use_count() != 1)
        m_attributes = std::make_shared<std::vector<NodeAttribute>>(Attributes());
    const auto found = std::find_if(m_attributes->begin(), m_attributes->end(),
                                    [name](const NodeAttribute& attribute) { return attribute.name == name; });
    if (found == m_attributes->end())
        m_attributes->push_back({std::wstring(name), std::move(value)});
    else
        found->value = std::move(value);
}

Node::Ptr Node::Clone(uint64_t depth)
{
    struct Step
    {
        Node* original;
        Node* copy;
        uint64_t depth;
    };
    Ptr clone = Ptr::Attach(new Node(*this));
    if (m_parent)
        clone->m_originPath = std::make_unique<std::wstring>(m_parent->Path());
    else if (m_originPath)
        clone->m_originPath = std::make_unique<std::wstring>(*m_originPath);
    std::vector<Step> steps{{this, clone.Get(), depth}};
    while (!steps.empty()) {
        const Step step = steps.back();
        steps.pop_back();
        if (step.depth == 0)
            continue;
        const std::vector<Node*>& children = step.original->Children();
        step.copy->m_children.reserve(children.size());
        for (Node* const child : children) {
            Ptr copy = Ptr::Attach(new Node(*child));
            step.copy->Append(*copy);
            Node* const appended = copy.Detach(); // the clone's reference now
            if (!child->m_children.empty())
                steps.push_back({child, appended, step.depth - 1});
        }
    }
    return clone;
}
