// Serialization type 1: nodes as UTF-8 text for people.
//
//   <nr>
//   <node name="Entry" type="Settings">
//     <attribute name="Enabled" type="boolean">true</attribute>
//     <attribute name="Hosts" type="text list">
//       <item>a.example</item>
//     </attribute>
//     <attribute name="Left" type="empty"/>
//     <node name="Child"/>
//   </node>
//   </nr>
//
// Lines end with CR LF. Empty names and types of nodes are left out; binary values are hexadecimal digits. & < > " '
// and control characters appear as numeric references; what UTF-8 cannot hold, as U+FFFD.
#pragma once

#include "Host/Nodwell/Node.h"
#include "Platform/Text.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

// One serialization, used by one thread at a time. The first failure, the callback's included, ends it: what has been
// written stops in the middle, and every further call is refused with E_UNEXPECTED. To be called without
// Node::s_lock; the callback is called without it.
class Serialization
{
public:
    static constexpr uint32_t Readable = 0x001; // lines, indented by two blanks per level (by no more than 64 levels)
    static constexpr uint32_t ShowTypes = 0x100;

    // E_NOTIMPL for a type other than 1, E_INVALIDARG for an unknown flag.
    Serialization(uint32_t type, uint32_t flags, KelnWriteCallback write, void* context)
        : m_flags(flags), m_write(write), m_context(context)
    {
        if (type != 1)
            Refuse(E_NOTIMPL, L"serialization type " + std::to_wstring(type) + L" is not available, only 1 is");
        if ((flags & ~(Readable | ShowTypes)) != 0)
            Refuse(E_INVALIDARG, L"unknown serialization flags in " + std::to_wstring(flags));
        m_text.append("<nr>").append(EndOfLine);
    }

    void Write(const std::vector<Node*>& nodes, uint32_t depth)
    {
        Claim();
        for (Node* const node : nodes)
            WriteTree(*PrivateClone(*node, depth));
        Flush();
        m_usable = true;
    }

    void Finalize()
    {
        Claim();
        m_text.append("</nr>").append(EndOfLine);
        Flush();
    }

private:
    static constexpr std::string_view EndOfLine = "\r\n";
    static constexpr std::size_t PieceSize = 4096; // of what the callback gets
    static constexpr std::size_t DeepestIndent = 64;

    struct LockedRelease
    {
        void operator()(Node* node) const
        {
            const std::lock_guard guard(Node::s_lock);
            node->Release();
        }
    };

    // A clone that nobody else knows, so that it can be read without the lock.
    static std::unique_ptr<Node, LockedRelease> PrivateClone(Node& node, uint32_t depth)
    {
        const std::lock_guard guard(Node::s_lock);
        return std::unique_ptr<Node, LockedRelease>(node.Clone(depth).Detach());
    }

    // What stands in the text for a character that cannot stand for itself; empty for the others.
    static std::string Reference(wchar_t character)
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

    static std::string Escaped(std::wstring_view text)
    {
        std::string utf8;
        std::size_t plain = 0; // where the part that needs no reference began
        for (std::size_t i = 0; i < text.size(); ++i) {
            const std::string reference = Reference(text[i]);
            if (reference.empty())
                continue;
            Text::AppendUtf8(text.substr(plain, i - plain), utf8);
            utf8 += reference;
            plain = i + 1;
        }
        Text::AppendUtf8(text.substr(plain), utf8);
        return utf8;
    }

    // The beginning of an element, up to its attributes' end.
    static std::string Start(const char* element, std::wstring_view name, std::wstring_view type)
    {
        std::string tag = std::string("<") + element;
        if (!name.empty())
            tag += " name=\"" + Escaped(name) + '"';
        if (!type.empty())
            tag += " type=\"" + Escaped(type) + '"';
        return tag;
    }

    void Claim()
    {
        if (!std::exchange(m_usable, false))
            Refuse(E_UNEXPECTED, L"the serialization is finalized or has failed");
    }

    void Flush()
    {
        for (std::string_view rest = m_text; !rest.empty(); rest.remove_prefix(std::min(PieceSize, rest.size()))) {
            const auto size = static_cast<uint32_t>(std::min(PieceSize, rest.size()));
            if (const HRESULT result = m_write(rest.data(), size, m_context); FAILED(result))
                throw Host::Failure{result, {}}; // with the error information that the callback has left
        }
        m_text.clear();
    }

    // Without recursion: trees may be deep.
    void WriteTree(Node& root)
    {
        std::vector<std::pair<Node*, std::size_t>> open; // with the number of children that have been written
        const auto begin = [&](Node& node) {
            if (Begin(node, open.size()))
                open.emplace_back(&node, 0);
        };
        begin(root);
        while (!open.empty()) {
            auto& [node, written] = open.back();
            if (written < node->ChildCount()) {
                begin(*node->Children()[written++]);
            } else {
                open.pop_back();
                PutLine(open.size(), "</node>");
            }
        }
    }

    // True when the node stays open for its children and its end.
    bool Begin(Node& node, std::size_t level)
    {
        const bool isEmpty = node.Attributes().empty() && node.ChildCount() == 0;
        PutLine(level, Start("node", node.Name(), node.Type()) + (isEmpty ? "/>" : ">"));
        for (const NodeAttribute& attribute : node.Attributes())
            WriteAttribute(attribute, level + 1);
        return !isEmpty;
    }

    void WriteAttribute(const NodeAttribute& attribute, std::size_t level)
    {
        const Value& value = attribute.value;
        const std::string start =
            Start("attribute", attribute.name, (m_flags & ShowTypes) != 0 ? TypeName(value.type) : L"");
        if (value.bytes.empty())
            return PutLine(level, start + "/>");
        if (value.type != KelnTextList)
            return PutLine(level, start + '>' + Escaped(DisplayText(value)) + "</attribute>");
        PutLine(level, start + '>');
        for (const std::wstring& item : ListItems(value))
            PutLine(level + 1, "<item>" + Escaped(item) + "</item>");
        PutLine(level, "</attribute>");
    }

    void PutLine(std::size_t level, std::string_view line)
    {
        const bool isReadable = (m_flags & Readable) != 0;
        if (isReadable)
            m_text.append(2 * std::min(level, DeepestIndent), ' ');
        m_text += line;
        if (isReadable)
            m_text += EndOfLine;
        if (m_text.size() >= PieceSize)
            Flush();
    }

    const uint32_t m_flags;
    const KelnWriteCallback m_write;
    void* const m_context;
    std::string m_text; // not yet written
    bool m_usable = true;
};
