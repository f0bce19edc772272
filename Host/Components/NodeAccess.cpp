#include "Host/Components/NodeAccess.h"

#include "Host/Support/Failure.h"
#include "Platform/Text.h"

namespace Host
{

namespace
{

constexpr HRESULT Absent = HResultFromWin32(ERROR_NOT_FOUND);
constexpr HRESULT TooSmall = HResultFromWin32(ERROR_INSUFFICIENT_BUFFER);

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

// What a function of the node library hands out at its last argument.
template <class Function, class... Arguments>
NodeHandle Obtain(Function function, Arguments... arguments)
{
    NodeHandle node;
    Check(function(arguments..., node.Out()));
    return node;
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

template <class Number>
std::optional<Number> ReadNumber(IKelNode* node, const wchar_t* name, std::uint16_t type)
{
    Number number{};
    std::uint32_t size = sizeof number;
    const HRESULT result = KelnGetAttribute(node, name, &type, &number, &size, nullptr);
    if (result == Absent)
        return std::nullopt;
    Check(result);
    return number;
}

// What a call writes that takes a buffer and its size and asks for more when it is too small; nothing for Absent.
template <class Character, class Call>
std::optional<std::basic_string<Character>> ReadBuffer(const Call& call)
{
    std::basic_string<Character> buffer;
    std::uint32_t size = 0;
    HRESULT result = S_OK;
    while ((result = call(buffer.data(), &size)) == TooSmall)
        buffer.resize(size);
    if (result == Absent)
        return std::nullopt;
    Check(result);
    buffer.resize(size);
    return buffer;
}

std::optional<std::string> ReadBytes(IKelNode* node, const wchar_t* name, std::uint16_t type)
{
    return ReadBuffer<char>(
        [=](char* buffer, std::uint32_t* size) { return KelnGetAttribute(node, name, &type, buffer, size, nullptr); });
}

template <class Call>
std::wstring ReadZeroTerminated(const Call& call)
{
    std::wstring text = ReadBuffer<wchar_t>(call).value();
    text.pop_back();
    return text;
}

} // namespace

NodeHandle CreateNode(const wchar_t* name, const wchar_t* type)
{
    return Obtain(&KelnCreateNode, name, type);
}

NodeHandle BuildNode(const NodeDescription& description)
{
    NodeHandle node = CreateNode(description.name.c_str(), description.type.c_str());
    for (const Attribute& attribute : description.attributes)
        SetAttribute(node.Get(), attribute.name, attribute.value);
    for (const NodeDescription& child : description.children)
        AddChild(node.Get(), BuildNode(child).Get());
    return node;
}

NodeHandle CloneNode(IKelNode* node, std::uint64_t depth)
{
    return Obtain(&KelnCloneNode, node, depth, 0U);
}

void AddChild(IKelNode* parent, IKelNode* child)
{
    Check(KelnAddChild(parent, child));
}

NodeHandle ShareNode(IKelNode* node)
{
    return Obtain(&KelnDuplicateNodeHandle, node);
}

NodeHandle ChildAt(IKelNode* node, std::uint64_t index)
{
    return Obtain(&KelnGetChildByIndex, node, index);
}

NodeHandle FindChild(IKelNode* node, const std::wstring& name)
{
    NodeHandle child;
    if (const HRESULT result = KelnGetChildByName(node, name.c_str(), child.Out()); result != Absent)
        Check(result);
    return child;
}

std::uint64_t ChildCount(IKelNode* node)
{
    std::uint64_t count = 0;
    Check(KelnGetChildCount(node, &count));
    return count;
}

std::wstring NodeName(IKelNode* node, std::uint32_t kind)
{
    return ReadZeroTerminated(
        [=](wchar_t* buffer, std::uint32_t* size) { return KelnGetNodeName(node, kind, buffer, size); });
}

std::wstring NodeType(IKelNode* node)
{
    return ReadZeroTerminated(
        [=](wchar_t* buffer, std::uint32_t* size) { return KelnGetNodeType(node, buffer, size); });
}

void SetAttribute(IKelNode* node, const std::wstring& name, const AttributeValue& value)
{
    const auto [type, bytes] = std::visit(Encoder(), value);
    Check(KelnSetAttribute(node, name.c_str(), type, bytes.data(), static_cast<std::uint32_t>(bytes.size())));
}

std::optional<std::wstring> ReadText(IKelNode* node, const wchar_t* name)
{
    const std::optional<std::string> bytes = ReadBytes(node, name, KelnText);
    return bytes ? std::optional(Text::FromUtf16Le(std::string_view(*bytes).substr(0, bytes->size() - 2)))
                 : std::nullopt;
}

std::vector<std::wstring> ReadTextList(IKelNode* node, const wchar_t* name)
{
    const std::wstring all = Text::FromUtf16Le(ReadBytes(node, name, KelnTextList).value_or(std::string()));
    std::vector<std::wstring> texts;
    for (std::size_t begin = 0; begin < all.size(); begin += texts.back().size() + 1)
        texts.emplace_back(all, begin, all.find(L'\0', begin) - begin);
    return texts;
}

bool HasAttribute(IKelNode* node, const wchar_t* name)
{
    const HRESULT result = KelnGetAttribute(node, name, nullptr, nullptr, nullptr, nullptr);
    if (result != Absent)
        Check(result);
    return result != Absent;
}

std::optional<std::int32_t> ReadInt32(IKelNode* node, const wchar_t* name)
{
    return ReadNumber<std::int32_t>(node, name, KelnInt32);
}

std::optional<std::int64_t> ReadInt64(IKelNode* node, const wchar_t* name)
{
    return ReadNumber<std::int64_t>(node, name, KelnInt64);
}

std::optional<bool> ReadBool(IKelNode* node, const wchar_t* name)
{
    const auto value = ReadNumber<std::uint8_t>(node, name, KelnBool);
    return value ? std::optional(*value != 0) : std::nullopt;
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

NodeHandle FindNode(IKelNode* root, std::wstring_view path)
{
    const std::vector<std::wstring> names = SplitNodePath(path);
    if (names.empty() || names.front() != NodeName(root, KelnNameOnly))
        return {};
    NodeHandle node = ShareNode(root);
    for (std::size_t i = 1; node && i < names.size(); ++i)
        node = FindChild(node.Get(), names[i]);
    return node;
}

} // namespace Host
