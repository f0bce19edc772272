// Nodes as the host's components and site files use them: described, built, read and found by path. Failures of the
// node library throw Failure.
#pragma once

#include "Host/Support/NodeHandle.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
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

NodeHandle CreateNode(const wchar_t* name, const wchar_t* type);
NodeHandle BuildNode(const NodeDescription& description);
NodeHandle CloneNode(IKelNode* node, std::uint64_t depth);
void AddChild(IKelNode* parent, IKelNode* child);
// Another handle of the same node.
NodeHandle ShareNode(IKelNode* node);
NodeHandle ChildAt(IKelNode* node, std::uint64_t index);
// The first child with that name; an empty handle when there is none.
NodeHandle FindChild(IKelNode* node, const std::wstring& name);
std::uint64_t ChildCount(IKelNode* node);
// `kind`: KelnNameOnly or KelnPath.
std::wstring NodeName(IKelNode* node, std::uint32_t kind);
std::wstring NodeType(IKelNode* node);

void SetAttribute(IKelNode* node, const std::wstring& name, const AttributeValue& value);
// Nothing when the attribute is absent; a value of another type is converted where the node library can.
std::optional<std::wstring> ReadText(IKelNode* node, const wchar_t* name);
std::optional<std::int32_t> ReadInt32(IKelNode* node, const wchar_t* name);
std::optional<std::int64_t> ReadInt64(IKelNode* node, const wchar_t* name);
std::optional<bool> ReadBool(IKelNode* node, const wchar_t* name);
// Empty when the attribute is absent.
std::vector<std::wstring> ReadTextList(IKelNode* node, const wchar_t* name);
bool HasAttribute(IKelNode* node, const wchar_t* name);

// The names of a path such as "\Configuration\Security"; none when it does not have that form.
std::vector<std::wstring> SplitNodePath(std::wstring_view path);
// The node at `path`, whose first name is that of `root`; an empty handle when there is none.
NodeHandle FindNode(IKelNode* root, std::wstring_view path);

} // namespace Host
