#include "Host/Components/NodeHandle.h"

#include "Platform/Text.h"

namespace Host
{

namespace
{

std::string ZeroTerminated(const std::wstring& text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    return bytes.append(2, '\0');
}

template <class Number>
std::string BytesOf(const Number& number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

// Stored type and bytes of a value.
struct Encoder
{
    using Result = std::pair<std::uint16_t, std::string>;

    Result operator()(std::monostate) const { return {KelnEmpty, {}}; }
    Result operator()(const std::wstring& text) const { return {KelnText, ZeroTerminated(text)}; }
    Result operator()(bool value) const { return {KelnBool, std::string(1, value ? '\1' : '\0')}; }
    Result operator()(std::int32_t number) const { return {KelnInt32, BytesOf(number)}; }
    Result operator()(std::int64_t number) const { return {KelnInt64, BytesOf(number)}; }
    Result operator()(const Binary& binary) const { return {KelnBinary, binary.bytes}; }
    Result operator()(const std::vector<std::wstring>& texts) const
    {
        std::string bytes;
        for (const std::wstring& text : texts)
            bytes += ZeroTerminated(text);
        return {KelnTextList, bytes};
    }
};

} // namespace

NodeHandle NodeHandle::Build(const NodeDescription& description)
{
    NodeHandle node = Create(description.name.c_str(), description.type.c_str());
    for (const Attribute& attribute : description.attributes)
        node.Set(attribute.name, attribute.value);
    for (const NodeDescription& child : description.children)
        node.AddChild(Build(child));
    return node;
}

void NodeHandle::Reset()
{
    if (IKelNode* const node = Detach())
        KelnCloseNodeHandle(node);
}

IKelNode** NodeHandle::Out()
{
    Reset();
    return &m_node;
}

bool NodeHandle::IsThere(HRESULT result)
{
    if (result == HResultFromWin32(ERROR_NOT_FOUND))
        return false;
    Check(result);
    return true;
}

template <class Character, class Call>
std::optional<std::basic_string<Character>> NodeHandle::ReadBuffer(const Call& call)
{
    std::basic_string<Character> buffer;
    std::uint32_t size = 0;
    HRESULT result = S_OK;
    while ((result = call(buffer.data(), &size)) == HResultFromWin32(ERROR_INSUFFICIENT_BUFFER))
        buffer.resize(size);
    buffer.resize(size);
    return IsThere(result) ? std::optional(buffer) : std::nullopt;
}

NodeHandle NodeHandle::FindChild(const std::wstring& name) const
{
    NodeHandle child;
    IsThere(KelnGetChildByName(m_node, name.c_str(), child.Out()));
    return child;
}

NodeHandle NodeHandle::Find(std::wstring_view path) const
{
    const std::vector<std::wstring> names = SplitNodePath(path);
    if (names.empty() || names.front() != Name())
        return {};
    NodeHandle node = Share();
    for (std::size_t i = 1; node && i < names.size(); ++i)
        node = node.FindChild(names[i]);
    return node;
}

std::uint64_t NodeHandle::ChildCount() const
{
    std::uint64_t count = 0;
    Check(KelnGetChildCount(m_node, &count));
    return count;
}

std::wstring NodeHandle::Name(std::uint32_t kind) const
{
    const auto call = [&](wchar_t* buffer, std::uint32_t* size) { return KelnGetNodeName(m_node, kind, buffer, size); };
    return ReadBuffer<wchar_t>(call)->c_str();
}

std::wstring NodeHandle::Type() const
{
    const auto call = [&](wchar_t* buffer, std::uint32_t* size) { return KelnGetNodeType(m_node, buffer, size); };
    return ReadBuffer<wchar_t>(call)->c_str();
}

void NodeHandle::Set(const std::wstring& name, const AttributeValue& value) const
{
    const auto [type, bytes] = std::visit(Encoder(), value);
    Check(KelnSetAttribute(m_node, name.c_str(), type, bytes.data(), static_cast<std::uint32_t>(bytes.size())));
}

std::optional<std::string> NodeHandle::ReadBytes(const wchar_t* name, std::uint16_t type) const
{
    return ReadBuffer<char>([&](char* buffer, std::uint32_t* size) {
        return KelnGetAttribute(m_node, name, &type, buffer, size, nullptr);
    });
}

std::optional<std::wstring> NodeHandle::ReadText(const wchar_t* name) const
{
    const std::optional<std::string> bytes = ReadBytes(name, KelnText);
    return bytes ? std::optional(Text::FromUtf16Le({bytes->data(), bytes->size() - 2})) : std::nullopt;
}

std::vector<std::wstring> NodeHandle::ReadTextList(const wchar_t* name) const
{
    const std::wstring all = Text::FromUtf16Le(ReadBytes(name, KelnTextList).value_or(std::string()));
    std::vector<std::wstring> texts;
    for (std::size_t begin = 0; begin < all.size(); begin += texts.back().size() + 1)
        texts.emplace_back(all, begin, all.find(L'\0', begin) - begin);
    return texts;
}

std::vector<std::wstring> SplitNodePath(std::wstring_view path)
{
    std::vector<std::wstring> names;
    while (path.starts_with(L'\\')) {
        path.remove_prefix(1);
        const std::wstring_view name = path.substr(0, path.find(L'\\'));
        if (name.empty())
            return {};
        names.emplace_back(name);
        path.remove_prefix(name.size());
    }
    return path.empty() ? names : std::vector<std::wstring>();
}

} // namespace Host
