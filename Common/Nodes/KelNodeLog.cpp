#include "Common/Nodes/KelNodeLog.h"

#include "Common/Foundation/Strings.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Platform/Text.h"

namespace
{

constexpr std::uint32_t LogSerializationFlags = 0x101;

// Masks hidden attributes in a clone of the logged tree, made when the first one is found. A node's copy is found by
// its place among its siblings: names need not be unique, and a secret must not show because another node has the same
// name.
class Masking
{
public:
    Masking(const KelNodePtr& root, const HiddenAttributes& hidden) : m_root(root), m_hidden(hidden) { Visit(root); }

    const KelNodePtr& Result() const { return m_clone ? m_clone : m_root; }

private:
    void Visit(const KelNodePtr& node)
    {
        m_hidden.ForNodeType(node.GetNodeType(), [&](const std::wstring& attribute) {
            if (node.HasAttribute(attribute.c_str()))
                CopyOfVisited().SetString(attribute.c_str(), L"********");
        });
        m_place.push_back(0);
        for (const KelNodePtr& child : node.GetChildren()) {
            Visit(child);
            ++m_place.back();
        }
        m_place.pop_back();
    }

    KelNodePtr CopyOfVisited()
    {
        if (!m_clone)
            m_clone = m_root.Clone(KelnWholeTree);
        KelNodePtr copy = m_clone;
        for (const std::uint64_t index : m_place)
            copy = copy.GetChildByIndex(index, true);
        return copy;
    }

    const KelNodePtr& m_root;
    const HiddenAttributes& m_hidden;
    std::vector<std::uint64_t> m_place; // child indexes from the root down to the visited node
    KelNodePtr m_clone;
};

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
    const KelNodePtr shown = hidden.Empty() ? node : Masking(node, hidden).Result();
    IKelNode* const handle = shown.Get();
    const std::string text = SerializeNodesToText(&handle, 1, LogSerializationFlags, KelnWholeTree);
    return L"KelNode[" + Strings::Hex(node.Get()) + L"]:\r\n" + Text::FromUtf8(Unwrap(text));
}

std::wostream& operator<<(std::wostream& stream, const KelNodePtr& node)
{
    return stream << KelNodeForLog(node, HiddenAttributes::Instance());
}
