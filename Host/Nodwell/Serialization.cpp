#include "Host/Nodwell/Serialization.h"

#include "Host/Nodwell/Failures.h"
#include "Platform/Text.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr std::string_view EndOfLine = "\r\n";
constexpr std::size_t DeepestIndent = 64;

// What stands in the text for a character that cannot stand for itself; empty for the others.
std::string Reference(wchar_t character)
{
    switch (character) {
    case L'&':
        return "&amp;";
    case L'<':
        return "&lt;";
    case L'>':
        return "&gt;";
    case L'"':
        return "&quot;";
    default:
        break;
    }
    const auto c = static_cast<char32_t>(character);
    const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
    return isControl ? "&#" + std::to_string(static_cast<unsigned>(c)) + ";" : std::string();
}

} // namespace

void TextOutput::Put(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t taken = std::min(PieceSize - m_piece.size(), text.size());
        m_piece += text.substr(0, taken);
        text.remove_prefix(taken);
        if (m_piece.size() == PieceSize)
            Flush();
    }
}

void TextOutput::Put(std::wstring_view text)
{
    std::size_t plain = 0; // where the part that needs no reference began
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string reference = Reference(text[i]);
        if (reference.empty())
            continue;
        Put(Text::ToUtf8(text.substr(plain, i - plain)));
        Put(reference);
        plain = i + 1;
    }
    Put(Text::ToUtf8(text.substr(plain)));
}

void TextOutput::Flush()
{
    if (m_piece.empty())
        return;
    const HRESULT result = m_write(m_piece.data(), static_cast<uint32_t>(m_piece.size()), m_context);
    m_piece.clear();
    if (FAILED(result))
        throw Host::Failure{result, {}}; // with the error information that the callback has left
}

Serialization::Serialization(uint32_t type, uint32_t flags, KelnWriteCallback write, void* context)
    : m_flags(flags), m_output(write, context)
{
    if (type != 1)
        Refuse(E_NOTIMPL, L"serialization type " + std::to_wstring(type) + L" is not available, only 1 is");
    if ((flags & ~(Readable | ShowTypes)) != 0)
        Refuse(E_INVALIDARG, L"unknown serialization flags in " + std::to_wstring(flags));
    m_output.Put("<nr>");
    m_output.Put(EndOfLine);
}

void Serialization::Claim()
{
    if (!std::exchange(m_usable, false))
        Refuse(E_UNEXPECTED, L"the serialization is finalized or has failed");
}

void Serialization::Write(const std::vector<Node*>& nodes, uint32_t depth)
{
    Claim();
    for (Node* node : nodes)
        WriteTree(*node, depth);
    m_output.Flush();
    m_usable = true;
}

void Serialization::Finalize()
{
    Claim();
    m_output.Put("</nr>");
    m_output.Put(EndOfLine);
    m_output.Flush();
}

void Serialization::WriteTree(Node& root, uint32_t depth)
{
    struct OpenNode
    {
        std::vector<Node::Ptr> children;
        std::size_t next;
    };
    std::vector<OpenNode> open;
    const auto begin = [&](const Node& node) {
        Node::Snapshot content = node.Look(open.size() < depth);
        if (Begin(node, content, open.size()))
            open.push_back({std::move(content.children), 0});
    };
    begin(root);
    while (!open.empty()) {
        OpenNode& current = open.back();
        if (current.next < current.children.size()) {
            const Node::Ptr child = std::move(current.children[current.next++]);
            begin(*child);
        } else {
            open.pop_back();
            StartLine(open.size());
            m_output.Put("</node>");
            EndLine();
        }
    }
}

// True when the node stays open for its children and its end.
bool Serialization::Begin(const Node& node, const Node::Snapshot& content, std::size_t level)
{
    const bool isEmpty = content.attributes.empty() && content.children.empty();
    StartLine(level);
    PutStart("node", node.Name().Text(), node.Type().Text());
    m_output.Put(isEmpty ? "/>" : ">");
    EndLine();
    for (const NodeAttribute& attribute : content.attributes)
        WriteAttribute(attribute, level + 1);
    return !isEmpty;
}

void Serialization::WriteAttribute(const NodeAttribute& attribute, std::size_t level)
{
    const Value& value = attribute.value;
    StartLine(level);
    PutStart("attribute", attribute.name.Text(), (m_flags & ShowTypes) != 0 ? TypeName(value.type) : L"");
    if (value.bytes.Bytes().empty()) {
        m_output.Put("/>");
        EndLine();
        return;
    }
    m_output.Put(">");
    if (value.type == KelnTextList) {
        EndLine();
        for (const std::wstring& item : ListItems(value)) {
            StartLine(level + 1);
            m_output.Put("<item>");
            m_output.Put(item);
            m_output.Put("</item>");
            EndLine();
        }
        StartLine(level);
    } else {
        m_output.Put(DisplayText(value));
    }
    m_output.Put("</attribute>");
    EndLine();
}

void Serialization::PutStart(const char* element, std::wstring_view name, std::wstring_view type)
{
    m_output.Put("<");
    m_output.Put(element);
    for (const auto& [key, text] : {std::pair(" name=\"", name), std::pair(" type=\"", type)}) {
        if (text.empty())
            continue;
        m_output.Put(key);
        m_output.Put(text);
        m_output.Put("\"");
    }
}

void Serialization::StartLine(std::size_t level)
{
    if ((m_flags & Readable) != 0)
        m_output.Put(std::string(2 * std::min(level, DeepestIndent), ' '));
}

void Serialization::EndLine()
{
    if ((m_flags & Readable) != 0)
        m_output.Put(EndOfLine);
}
