#include "Common/Nodes/KelNodePtr.h"

#include "Common/Nodes/LibraryBuffer.h"

namespace
{

template <class Read>
std::wstring ReadName(Read read)
{
    NameBuffer buffer;
    CheckHResult(buffer.Fill(read));
    return std::wstring(buffer.Data(), buffer.Size() > 0 ? buffer.Size() - 1 : 0);
}

} // namespace

KelNodePtr::KelNodePtr(const KelNodePtr& other) : KelNodePtr(AddRef(other.m_node)) {}

KelNodePtr& KelNodePtr::operator=(const KelNodePtr& other)
{
    if (m_node != other.m_node)
        *this = AddRef(other.m_node);
    return *this;
}

KelNodePtr& KelNodePtr::operator=(KelNodePtr&& other) noexcept
{
    if (this != &other) {
        Reset();
        m_node = other.Detach();
    }
    return *this;
}

KelNodePtr KelNodePtr::Attach(IKelNode* owned)
{
    KelNodePtr result;
    result.m_node = owned;
    return result;
}

KelNodePtr KelNodePtr::AddRef(IKelNode* borrowed)
{
    KelNodePtr result;
    if (borrowed)
        CheckHResult(KelnDuplicateNodeHandle(borrowed, &result.m_node));
    return result;
}

void KelNodePtr::Reset()
{
    if (IKelNode* const node = Detach())
        KelnCloseNodeHandle(node);
}

IKelNode** KelNodePtr::Out()
{
    Reset();
    return &m_node;
}

std::uint64_t KelNodePtr::GetChildCount() const
{
    CheckPointer(m_node);
    std::uint64_t count = 0;
    CheckHResult(KelnGetChildCount(m_node, &count));
    return count;
}

KelNodePtr KelNodePtr::GetChildByIndex(std::uint64_t index, bool required) const
{
    CheckPointer(m_node);
    KelNodePtr child;
    CheckAbsent(KelnGetChildByIndex(m_node, index, child.Out()), required);
    return child;
}

KelNodePtr KelNodePtr::GetChildByName(const std::wstring& name, bool required) const
{
    CheckPointer(m_node);
    KelNodePtr child;
    CheckAbsent(KelnGetChildByName(m_node, name.c_str(), child.Out()), required);
    return child;
}

std::vector<KelNodePtr> KelNodePtr::GetChildren() const
{
    const std::uint64_t count = GetChildCount();
    std::vector<KelNodePtr> children;
    children.reserve(count);
    // The count is a hint only: another thread may be changing the list.
    for (std::uint64_t i = 0; i < count; ++i) {
        if (KelNodePtr child = GetChildByIndex(i, false))
            children.push_back(std::move(child));
    }
    return children;
}

void KelNodePtr::AddChild(const KelNodePtr& child) const
{
    CheckPointer(m_node);
    CheckHResult(KelnAddChild(m_node, child.m_node));
}

void KelNodePtr::RemoveChild(const KelNodePtr& child) const
{
    CheckPointer(m_node);
    CheckHResult(KelnRemoveChild(m_node, child.m_node));
}

KelNodePtr KelNodePtr::GetParent() const
{
    CheckPointer(m_node);
    KelNodePtr parent;
    CheckHResult(KelnGetParent(m_node, parent.Out()));
    return parent;
}

std::wstring KelNodePtr::GetName() const
{
    CheckPointer(m_node);
    return ReadName(
        [this](wchar_t* text, std::uint32_t* size) { return KelnGetNodeName(m_node, KelnNameOnly, text, size); });
}

std::wstring KelNodePtr::GetPath() const
{
    CheckPointer(m_node);
    return ReadName(
        [this](wchar_t* text, std::uint32_t* size) { return KelnGetNodeName(m_node, KelnPath, text, size); });
}

std::wstring KelNodePtr::GetNodeType() const
{
    CheckPointer(m_node);
    return ReadName([this](wchar_t* text, std::uint32_t* size) { return KelnGetNodeType(m_node, text, size); });
}

KelNodePtr KelNodePtr::Clone(std::uint64_t depth) const
{
    CheckPointer(m_node);
    KelNodePtr clone;
    CheckHResult(KelnCloneNode(m_node, depth, 0, clone.Out()));
    return clone;
}

KelNodePtr CreateKelNode(const wchar_t* name, const wchar_t* nodeType)
{
    KelNodePtr node;
    CheckHResult(KelnCreateNode(name, nodeType, node.Out()));
    return node;
}
