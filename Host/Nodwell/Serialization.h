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

// One serialization, used by one thread at a time. The first failure, the callback's included, ends it: what has been
// written stops in the middle, and every further call is refused with E_UNEXPECTED. To be called without
// Node::s_lock; the callback is called without it.
class Serialization
{
public:
    static constexpr uint32_t Readable = 0x001; // lines, indented by two blanks per level (by no more than 64 levels)
    static constexpr uint32_t ShowTypes = 0x100;

    // E_NOTIMPL for a type other than 1, E_INVALIDARG for an unknown flag.
    Serialization(uint32_t type, uint32_t flags, KelnWriteCallback write, void* context);

    void Write(const std::vector<Node*>& nodes, uint32_t depth);
    void Finalize();

private:
    void WriteTree(Node& root);
    bool Begin(Node& node, std::size_t level);
    void WriteAttribute(const NodeAttribute& attribute, std::size_t level);
    void PutLine(std::size_t level, std::string_view line);
    void Flush();
    void Claim();

    const uint32_t m_flags;
    const KelnWriteCallback m_write;
    void* const m_context;
    std::string m_text; // not yet written
    bool m_usable = true;
};
