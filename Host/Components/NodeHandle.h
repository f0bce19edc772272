// Nodes as the host's components and site files use them: described, built, read and found by path.
#pragma once

#include "Host/Support/Failure.h"
#include "Interfaces/Nodwell.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Host
{

// Bytes of a binary attribute.
struct Binary
{
    std::string bytes;
};

// In the node library's words: empty, text, boolean, int32, int64, text list, binary.
using AttributeValue =
    std::variant<std::monostate, std::wstring, bool, std::int32_t, std::int64_t, std::vector<std::wstring>, Binary>;

struct Attribute
{
    std::wstring name;
    AttributeValue value;
};

struct NodeDescription
{
    std::wstring name;
    std::wstring type;
    std::vector<Attribute> attributes;
    std::vector<NodeDescription> children;
};

// Owning handle of a node: closes what it holds. One instance belongs to one thread at a time. Failures of the node
// library throw Failure.
class NodeHandle
{
public:
    NodeHandle() = default;
    // Takes over a handle that the caller owns.
    explicit NodeHandle(IKelNode* owned) : m_node(owned) {}
    NodeHandle(NodeHandle&& other) noexcept : m_node(other.Detach()) {}
    NodeHandle& operator=(NodeHandle&& other) noexcept
    {
        std::swap(m_node, other.m_node);
        return *this;
    }
    ~NodeHandle() { Reset(); }

    static NodeHandle Create(const wchar_t* name, const wchar_t* type) { return Obtain(&KelnCreateNode, name, type); }
    static NodeHandle Build(const NodeDescription& description);
    // Another handle of a node that the caller may use.
    static NodeHandle Share(IKelNode* node) { return Obtain(&KelnDuplicateNodeHandle, node); }

    IKelNode* Get() const { return m_node; }
    [[nodiscard]] IKelNode* Detach() { return std::exchange(m_node, nullptr); }
    explicit operator bool() const { return m_node != nullptr; }
    void Reset();
    // For out parameters: closes what is held and gives the address of the empty handle.
    IKelNode** Out();

    NodeHandle Share() const { return Share(m_node); }
    NodeHandle Clone(std::uint64_t depth) const { return Obtain(&KelnCloneNode, m_node, depth, 0U); }
    // Empty for a root.
    NodeHandle Parent() const { return Obtain(&KelnGetParent, m_node); }
    void AddChild(const NodeHandle& child) const { Check(KelnAddChild(m_node, child.m_node)); }
    NodeHandle ChildAt(std::uint64_t index) const { return Obtain(&KelnGetChildByIndex, m_node, index); }
    // The first child with that name; an empty handle when there is none.
    NodeHandle FindChild(const std::wstring& name) const;
    // The node at `path`, whose first name is that of this node; an empty handle when there is none.
    NodeHandle Find(std::wstring_view path) const;
    std::uint64_t ChildCount() const;
    // `kind`: KelnNameOnly or KelnPath.
    std::wstring Name(std::uint32_t kind = KelnNameOnly) const;
    std::wstring Type() const;

    void Set(const std::wstring& name, const AttributeValue& value) const;
    bool Has(const wchar_t* name) const
    {
        return IsThere(KelnGetAttribute(m_node, name, nullptr, nullptr, nullptr, nullptr));
    }
    // Nothing when the attribute is absent; a value of another type is converted where the node library can.
    std::optional<std::wstring> ReadText(const wchar_t* name) const;
    std::optional<std::int32_t> ReadInt32(const wchar_t* name) const { return Read<std::int32_t>(name, KelnInt32); }
    std::optional<std::int64_t> ReadInt64(const wchar_t* name) const { return Read<std::int64_t>(name, KelnInt64); }
    std::optional<bool> ReadBool(const wchar_t* name) const { return Read<bool>(name, KelnBool); }
    // Empty when the attribute is absent.
    std::vector<std::wstring> ReadTextList(const wchar_t* name) const;

private:
    // What a function of the node library hands out at its last argument.
    template <class Function, class... Arguments>
    static NodeHandle Obtain(Function function, Arguments... arguments)
    {
        NodeHandle node;
        Check(function(arguments..., node.Out()));
        return node;
    }

    // False for the result of a call that has not found what it was asked for; throws for other failures.
    static bool IsThere(HRESULT result);

    template <class Number>
    std::optional<Number> Read(const wchar_t* name, std::uint16_t type) const
    {
        Number number{};
        std::uint32_t size = sizeof number;
        const bool isThere = IsThere(KelnGetAttribute(m_node, name, &type, &number, &size, nullptr));
        return isThere ? std::optional(number) : std::nullopt;
    }

    // What a call writes that takes a buffer and its size and asks for more when it is too small.
    template <class Character, class Call>
    static std::optional<std::basic_string<Character>> ReadBuffer(const Call& call);
    std::optional<std::string> ReadBytes(const wchar_t* name, std::uint16_t type) const;

    IKelNode* m_node = nullptr;
};

// The names of a path such as "\Configuration\Security"; none when it does not have that form.
std::vector<std::wstring> SplitNodePath(std::wstring_view path);

} // namespace Host
