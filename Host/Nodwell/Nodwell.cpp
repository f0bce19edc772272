#include "Interfaces/Nodwell.h"

#include "Host/Nodwell/Node.h"
#include "Host/Nodwell/Serialization.h"
#include "Host/Nodwell/TestControls.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>

namespace
{

// The answers that callers meet every day come without error information.
constexpr HRESULT Absent = HResultFromWin32(ERROR_NOT_FOUND);
constexpr HRESULT TooSmall = HResultFromWin32(ERROR_INSUFFICIENT_BUFFER);

uint64_t s_openHandles = 0; // Node::s_lock

// Runs the body of one exported function with the lock held.
template <class Body>
HRESULT Call(const Body& body) noexcept
{
    return Host::Boundary([&] {
        const std::lock_guard guard(Node::s_lock);
        return body();
    });
}

Node& ToNode(IKelNode* handle)
{
    Refuse.IfNull(L"node", handle);
    return *static_cast<Node*>(handle);
}

// For functions that store what they find out about a node.
template <class Answer, class Body>
HRESULT Ask(IKelNode* node, const Answer* place, const Body& body) noexcept
{
    return Call([&] {
        Node& asked = ToNode(node);
        Refuse.IfNull(L"place for the answer", place);
        return body(asked);
    });
}

Serialization& ToSerialization(void* context)
{
    Refuse.IfNull(L"serialization context", context);
    return *static_cast<Serialization*>(context);
}

std::wstring_view ToName(const wchar_t* name)
{
    if (!name)
        Refuse(E_INVALIDARG, L"no name (a null pointer)");
    return name;
}

HRESULT HandOut(Node::Ptr node, IKelNode** out)
{
    if (!node)
        return Absent;
    ++s_openHandles;
    *out = node.Detach();
    return S_OK;
}

// `text` goes out with a terminating zero. A null buffer has no room.
HRESULT CopyText(std::wstring_view text, wchar_t* buffer, uint32_t* size)
{
    if (text.size() >= std::numeric_limits<uint32_t>::max())
        throw std::bad_alloc();
    const auto needed = static_cast<uint32_t>(text.size() + 1);
    const bool fits = buffer && *size >= needed;
    *size = needed;
    if (!fits)
        return TooSmall;
    text.copy(buffer, text.size());
    buffer[text.size()] = L'\0';
    return S_OK;
}

HRESULT CopyBytes(const std::string& bytes, void* buffer, uint32_t* size)
{
    if (buffer)
        Refuse.IfNull(L"buffer size", size);
    const bool fits = !buffer || *size >= bytes.size();
    if (size)
        *size = static_cast<uint32_t>(bytes.size());
    if (!fits)
        return TooSmall;
    if (buffer && !bytes.empty())
        std::memcpy(buffer, bytes.data(), bytes.size());
    return S_OK;
}

} // namespace

HRESULT KelnCreateNode(const wchar_t* name, const wchar_t* nodeType, IKelNode** node)
{
    return Call([=] {
        Refuse.IfNull(L"place for the node", node);
        return HandOut(Node::Create(name ? name : L"", nodeType ? nodeType : L""), node);
    });
}

HRESULT KelnCloneNode(IKelNode* node, uint64_t depth, uint32_t flags, IKelNode** clone)
{
    return Ask(node, clone, [=](Node& original) {
        if (flags != 0)
            Refuse(E_INVALIDARG, L"unknown clone flags " + std::to_wstring(flags));
        return HandOut(original.Clone(depth), clone);
    });
}

HRESULT KelnDuplicateNodeHandle(IKelNode* node, IKelNode** duplicate)
{
    return Ask(node, duplicate, [=](Node& original) { return HandOut(Node::Ptr(&original), duplicate); });
}

HRESULT KelnCloseNodeHandle(IKelNode* node)
{
    return Host::Boundary([=] {
        const std::lock_guard guard(Node::s_lock);
        Node& closed = ToNode(node);
        --s_openHandles;
        closed.Release();
    });
}

HRESULT KelnGetParent(IKelNode* node, IKelNode** parent)
{
    return Ask(node, parent, [=](const Node& child) {
        *parent = nullptr;
        HandOut(Node::Ptr(child.Parent()), parent);
    });
}

HRESULT KelnGetChildCount(IKelNode* node, uint64_t* count)
{
    return Ask(node, count, [=](const Node& parent) { *count = parent.ChildCount(); });
}

HRESULT KelnGetChildByIndex(IKelNode* node, uint64_t index, IKelNode** child)
{
    return Ask(node, child, [=](Node& parent) {
        const std::vector<Node*>& children = parent.Children();
        return HandOut(Node::Ptr(index < children.size() ? children[index] : nullptr), child);
    });
}

HRESULT KelnGetChildByName(IKelNode* node, const wchar_t* name, IKelNode** child)
{
    return Ask(node, child, [=](Node& parent) { return HandOut(Node::Ptr(parent.Child(ToName(name))), child); });
}

HRESULT KelnAddChild(IKelNode* parent, IKelNode* child)
{
    return Call([=] { ToNode(parent).AddChild(ToNode(child)); });
}

HRESULT KelnRemoveChild(IKelNode* parent, IKelNode* child)
{
    return Call([=] { return ToNode(parent).RemoveChild(ToNode(child)) ? S_OK : Absent; });
}

HRESULT KelnGetNodeName(IKelNode* node, uint32_t kind, wchar_t* buffer, uint32_t* size)
{
    return Ask(node, size, [=](const Node& named) {
        if (kind != KelnNameOnly && kind != KelnPath)
            Refuse(E_INVALIDARG, L"unknown kind of node name " + std::to_wstring(kind));
        return CopyText(kind == KelnPath ? named.Path() : named.Name(), buffer, size);
    });
}

HRESULT KelnGetNodeType(IKelNode* node, wchar_t* buffer, uint32_t* size)
{
    return Ask(node, size, [=](const Node& typed) { return CopyText(typed.Type(), buffer, size); });
}

HRESULT KelnGetAttributeNames(IKelNode* node, wchar_t* buffer, uint32_t* size)
{
    return Ask(node, size, [=](const Node& holder) {
        std::wstring names;
        for (const NodeAttribute& attribute : holder.Attributes())
            names.append(attribute.name).push_back(L'\0');
        if (names.empty()) {
            *size = 0;
            return S_OK;
        }
        names.pop_back();
        return CopyText(names, buffer, size);
    });
}

HRESULT KelnGetAttribute(IKelNode* node, const wchar_t* name, const uint16_t* requestedType, void* buffer,
                         uint32_t* size, uint16_t* storedType)
{
    return Call([=] {
        const Node& holder = ToNode(node);
        const std::wstring_view attribute = ToName(name);
        const Value* const value = holder.FindAttribute(attribute);
        if (!value)
            return Absent;
        const HRESULT result = requestedType && *requestedType != value->type
                                   ? CopyBytes(Convert(*value, *requestedType, attribute).bytes, buffer, size)
                                   : CopyBytes(value->bytes, buffer, size);
        if (SUCCEEDED(result) && storedType)
            *storedType = value->type;
        return result;
    });
}

HRESULT KelnSetAttribute(IKelNode* node, const wchar_t* name, uint16_t type, const void* value, uint32_t size)
{
    return Call([=] {
        Node& holder = ToNode(node);
        const std::wstring_view attribute = ToName(name);
        if (attribute.empty())
            Refuse(E_INVALIDARG, L"an attribute needs a name");
        holder.SetAttribute(attribute, MakeValue(type, value, size, attribute));
    });
}

HRESULT KelnStartSerialization(uint32_t type, uint32_t flags, KelnWriteCallback write, void* writeContext,
                               void** context)
{
    return Host::Boundary([=] {
        Refuse.IfNull(L"write callback", write);
        Refuse.IfNull(L"place for the context", context);
        *context = new Serialization(type, flags, write, writeContext);
    });
}

HRESULT KelnSerializeNodes(void* context, IKelNode* const* nodes, uint32_t count, uint32_t depth)
{
    return Host::Boundary([=] {
        Serialization& serialization = ToSerialization(context);
        if (count != 0)
            Refuse.IfNull(L"array of nodes", nodes);
        std::vector<Node*> checked;
        std::transform(nodes, nodes + count, std::back_inserter(checked), [](IKelNode* node) { return &ToNode(node); });
        serialization.Write(checked, depth);
    });
}

HRESULT KelnFinalizeSerialization(void* context)
{
    return Host::Boundary([=] { ToSerialization(context).Finalize(); });
}

HRESULT KelnCloseSerializationContext(void* context)
{
    return Host::Boundary([=] { delete &ToSerialization(context); });
}

uint64_t NodwellLiveNodes()
{
    const std::lock_guard guard(Node::s_lock);
    return Node::s_live;
}

uint64_t NodwellOpenHandles()
{
    const std::lock_guard guard(Node::s_lock);
    return s_openHandles;
}
