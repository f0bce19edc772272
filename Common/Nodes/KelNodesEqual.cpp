#include "Common/Nodes/KelNodesEqual.h"

#include "Common/Foundation/Strings.h"
#include "Common/Nodes/LibraryBuffer.h"
#include "Platform/Text.h"

#include <algorithm>

namespace
{

std::wstring_view ReadName(const KelNodePtr& node, std::uint32_t kind, NameBuffer& buffer)
{
    CheckPointer(node.Get());
    CheckHResult(
        buffer.Fill([&](wchar_t* text, std::uint32_t* size) { return KelnGetNodeName(node.Get(), kind, text, size); }));
    return {buffer.Data(), buffer.Size()};
}

bool SameName(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t kind)
{
    NameBuffer nameA;
    NameBuffer nameB;
    return ReadName(a, kind, nameA) == ReadName(b, kind, nameB);
}

// The names of a node's attributes, each followed by a zero character.
class AttributeNames
{
public:
    AttributeNames(const KelNodePtr& node, std::uint32_t flags) : m_skipHash(flags & KelIgnoreHashAttributes)
    {
        CheckHResult(m_buffer.Fill(
            [&](wchar_t* names, std::uint32_t* size) { return KelnGetAttributeNames(node.Get(), names, size); }));
        m_rest = {m_buffer.Data(), m_buffer.Size()};
    }

    // The next name to compare, in place; null behind the last.
    const wchar_t* Next()
    {
        while (!m_rest.empty()) {
            const wchar_t* const name = m_rest.data();
            m_rest.remove_prefix(std::min(m_rest.find(L'\0'), m_rest.size() - 1) + 1);
            if (!m_skipHash || *name != L'#')
                return name;
        }
        return nullptr;
    }

    std::size_t CountRest()
    {
        std::size_t count = 0;
        while (Next())
            ++count;
        return count;
    }

private:
    const bool m_skipHash;
    NameBuffer m_buffer;
    std::wstring_view m_rest;
};

struct StoredValue
{
    bool Read(const KelNodePtr& node, const wchar_t* name)
    {
        return !CheckAbsent(buffer.Fill([&](std::uint8_t* data, std::uint32_t* size) {
            return KelnGetAttribute(node.Get(), name, nullptr, data, size, &type);
        }));
    }
    bool IsText() const { return type == KelnText8 || type == KelnText; }
    std::string_view Bytes() { return {reinterpret_cast<const char*>(buffer.Data()), buffer.Size()}; }

    ValueBuffer buffer;
    std::uint16_t type = KelnEmpty;
};

bool SameValue(const KelNodePtr& a, const KelNodePtr& b, const wchar_t* name, std::uint32_t flags)
{
    StoredValue valueA;
    StoredValue valueB;
    const bool present = valueA.Read(a, name);
    if (present != valueB.Read(b, name))
        return false;
    if (!present) // removed by another thread meanwhile, from both
        return true;
    if ((flags & KelIgnoreCase) && valueA.IsText() && valueB.IsText())
        return Strings::EqualNoCase(a.GetString(name), b.GetString(name));
    return valueA.type == valueB.type && valueA.Bytes() == valueB.Bytes();
}

bool SameAttributes(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags)
{
    AttributeNames names(a, flags);
    std::size_t count = 0;
    for (const wchar_t* name = names.Next(); name; name = names.Next(), ++count) {
        if (!SameValue(a, b, name, flags))
            return false;
    }
    return count == AttributeNames(b, flags).CountRest();
}

// The child of `b` to compare with `child`, which is child `index` of the other node; empty when there is none.
KelNodePtr FindPartner(const KelNodePtr& child, const KelNodePtr& b, std::uint64_t index, std::uint32_t flags)
{
    KelNodePtr atIndex = b.GetChildByIndex(index, false);
    if ((flags & KelPairByPosition) || (atIndex && SameName(child, atIndex, KelnNameOnly)))
        return atIndex;
    // A partner found by name stands elsewhere.
    return (flags & KelIgnoreChildOrder) ? b.GetChildByName(child.GetName(), false) : KelNodePtr();
}

bool SameChildren(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags)
{
    const std::uint64_t count = a.GetChildCount();
    if (count != b.GetChildCount())
        return false;
    for (std::uint64_t i = 0; i < count; ++i) {
        const KelNodePtr child = a.GetChildByIndex(i, true);
        const KelNodePtr partner = FindPartner(child, b, i, flags);
        if (!partner || !KelNodesEqual(child, partner, flags | KelCompareNames))
            return false;
    }
    return true;
}

} // namespace

bool KelNodesEqual(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags)
{
    if (!(flags & KelIgnoreIdentity) && !SameName(a, b, (flags & KelCompareNames) ? KelnNameOnly : KelnPath))
        return false;
    if (!(flags & KelIgnoreAttributes) && !SameAttributes(a, b, flags))
        return false;
    return (flags & KelIgnoreChildren) || SameChildren(a, b, flags);
}

bool KelNodesEqualOrNone(const KelNodePtr& a, const KelNodePtr& b, std::uint32_t flags)
{
    return a && b ? KelNodesEqual(a, b, flags) : !a && !b;
}
