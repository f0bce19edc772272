#include "Common/Nodes/KelNodeLog.h"

#include "Common/Foundation/Strings.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Platform/Text.h"

namespace
{

constexpr std::uint32_t LogSerializationFlags = 0x101;

// Masks the hidden attributes of a tree that no other thread knows.
void Mask(const KelNodePtr& node, const HiddenAttributes& hidden)
{
    hidden.ForNodeType(node.GetNodeType(), [&](const std::wstring& attribute) {
        if (node.HasAttribute(attribute.c_str()))
            node.SetString(attribute.c_str(), L"********");
    });
    for (const KelNodePtr& child : node.GetChildren())
        Mask(child, hidden);
}

// What may be shown of a node. The clone comes first: another thread may be changing the tree, and what is masked must
// be what is printed.
KelNodePtr Shown(const KelNodePtr& node, const HiddenAttributes& hidden)
{
    if (hidden.Empty())
        return node;
    KelNodePtr clone = node.Clone(KelnWholeTree);
    Mask(clone, hidden);
    return clone;
}

// The serialized text without the list's wrapper.
std::string_view Unwrap(std::string_view text)
{
    constexpr std::string_view opening = "<nr>";
    constexpr std::string_view closing = "</nr>";
    const auto trimEnd = [&text](const char* characters) {
        text = text.substr(0, text.find_last_not_of(characters) + 1);
    };
    trimEnd(" \r\n\t");
    if (text.starts_with(opening)) {
        text.remove_prefix(opening.size());
        text.remove_prefix(std::min(text.find_first_not_of("\r\n"), text.size()));
    }
    if (text.ends_with(closing)) {
        text.remove_suffix(closing.size());
        trimEnd("\r\n");
    }
    return text;
}

} // namespace

std::wstring KelNodeForLog(const KelNodePtr& node, const HiddenAttributes& hidden)
{
    if (!node)
        return L"KelNode[<null>]";
    const KelNodePtr shown = Shown(node, hidden);
    IKelNode* const handle = shown.Get();
    const std::string text = SerializeNodesToText(&handle, 1, LogSerializationFlags, KelnWholeTree);
    return L"KelNode[" + Strings::Hex(node.Get()) + L"]:\r\n" + Text::FromUtf8(Unwrap(text));
}

LogText& operator<<(LogText& text, const KelNodePtr& node)
{
    return text << KelNodeForLog(node, HiddenAttributes::Instance());
}
