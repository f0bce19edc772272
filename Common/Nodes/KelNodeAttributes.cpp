// Typed attributes of KelNodePtr.
#include "Common/Nodes/KelNodePtr.h"
#include "Common/Nodes/LibraryBuffer.h"
#include "Platform/Text.h"

namespace
{

constexpr std::size_t BytesPerUnit = 2;

HRESULT ReadValue(IKelNode* node, const wchar_t* name, const std::uint16_t* type, ValueBuffer& buffer,
                  std::uint16_t* storedType = nullptr)
{
    CheckPointer(node);
    return buffer.Fill([&](std::uint8_t* bytes, std::uint32_t* size) {
        return KelnGetAttribute(node, name, type, bytes, size, storedType);
    });
}

HRESULT ReadText(IKelNode* node, const wchar_t* name, ValueBuffer& buffer)
{
    const std::uint16_t type = KelnText;
    return ReadValue(node, name, &type, buffer);
}

// The text of a value without the `terminators` characters at its end.
std::wstring ToText(ValueBuffer& buffer, std::size_t terminators)
{
    std::size_t size = buffer.Size();
    size -= std::min(size, terminators * BytesPerUnit);
    return Text::FromUtf16Le({reinterpret_cast<const char*>(buffer.Data()), size});
}

std::wstring_view TakeItem(std::wstring_view& rest)
{
    const std::wstring_view item = rest.substr(0, rest.find(L'\0'));
    rest.remove_prefix(std::min(item.size() + 1, rest.size()));
    return item;
}

} // namespace

bool KelNodePtr::HasAttribute(const wchar_t* name, std::uint16_t* storedType, std::uint32_t* size) const
{
    CheckPointer(m_node);
    return !CheckAbsent(KelnGetAttribute(m_node, name, nullptr, nullptr, size, storedType));
}

std::uint16_t KelNodePtr::GetAttributeType(const wchar_t* name) const
{
    CheckPointer(m_node);
    std::uint16_t type = KelnEmpty;
    CheckHResult(KelnGetAttribute(m_node, name, nullptr, nullptr, nullptr, &type));
    return type;
}

std::vector<std::wstring> KelNodePtr::GetAttributeNames() const
{
    CheckPointer(m_node);
    NameBuffer buffer;
    CheckHResult(buffer.Fill(
        [this](wchar_t* names, std::uint32_t* size) { return KelnGetAttributeNames(m_node, names, size); }));
    std::vector<std::wstring> names;
    for (std::wstring_view rest(buffer.Data(), buffer.Size()); !rest.empty();)
        names.emplace_back(TakeItem(rest));
    return names;
}

// What the result of reading a value in a requested type means. An attribute without value has none of any type,
// whatever the library makes of converting it. The frames of a failure are those of the caller.
[[gnu::noinline]] KelNodePtr::Reading KelNodePtr::CheckReading(const wchar_t* name, HRESULT hr, bool required) const
{
    if (hr >= 0)
        return Reading::Value;
    const bool absent = hr == HResultFromWin32(ERROR_NOT_FOUND);
    if (absent && !required) {
        DropErrorInfo();
        return Reading::Absent;
    }
    const HRES failure(hr);
    std::uint16_t storedType = KelnEmpty;
    if (!absent && HasAttribute(name, &storedType) && storedType == KelnEmpty)
        return Reading::NoValue;
    throw HRX(failure);
}

bool KelNodePtr::TryGetString(const wchar_t* name, std::wstring& text) const
{
    text.clear();
    ValueBuffer buffer;
    const Reading reading = CheckReading(name, ReadText(m_node, name, buffer));
    if (reading == Reading::Value)
        text = ToText(buffer, 1);
    return reading != Reading::Absent;
}

std::wstring KelNodePtr::GetString(const wchar_t* name) const
{
    ValueBuffer buffer;
    const Reading reading = CheckReading(name, ReadText(m_node, name, buffer), true);
    return reading == Reading::Value ? ToText(buffer, 1) : std::wstring();
}

std::wstring KelNodePtr::GetStringOr(const wchar_t* name, const std::wstring& defaultText) const
{
    std::uint16_t storedType = KelnEmpty;
    return HasAttribute(name, &storedType) && storedType != KelnEmpty ? GetString(name) : defaultText;
}

bool KelNodePtr::GetStringList(const wchar_t* name, std::vector<std::wstring>& list) const
{
    std::uint16_t storedType = KelnEmpty;
    if (!HasAttribute(name, &storedType))
        return false;
    list.clear();
    if (storedType == KelnEmpty)
        return false;
    if (!(storedType & KelnListFlag)) {
        list.push_back(GetString(name));
        return true;
    }
    ValueBuffer buffer;
    const std::uint16_t type = KelnTextList;
    CheckHResult(ReadValue(m_node, name, &type, buffer));
    const std::wstring texts = ToText(buffer, 0);
    for (std::wstring_view rest(texts); !rest.empty();)
        list.emplace_back(TakeItem(rest));
    return true;
}

template <class Value>
bool KelNodePtr::TryGetFixed(const wchar_t* name, std::uint16_t type, Value& value) const
{
    CheckPointer(m_node);
    Value read{};
    std::uint32_t size = sizeof(read);
    if (CheckReading(name, KelnGetAttribute(m_node, name, &type, &read, &size, nullptr)) != Reading::Value)
        return false;
    value = read;
    return true;
}

bool KelNodePtr::TryGetInt32(const wchar_t* name, std::int32_t& value) const
{
    return TryGetFixed(name, KelnInt32, value);
}

bool KelNodePtr::TryGetUInt32(const wchar_t* name, std::uint32_t& value) const
{
    return TryGetFixed(name, KelnUInt32, value);
}

bool KelNodePtr::TryGetInt64(const wchar_t* name, std::int64_t& value) const
{
    return TryGetFixed(name, KelnInt64, value);
}

bool KelNodePtr::TryGetBool(const wchar_t* name, bool& value) const
{
    std::uint8_t stored = 0;
    if (!TryGetFixed(name, KelnBool, stored))
        return false;
    value = stored != 0;
    return true;
}

bool KelNodePtr::GetBinary(const wchar_t* name, std::vector<std::uint8_t>& bytes, std::uint16_t& type) const
{
    ValueBuffer buffer;
    if (CheckAbsent(ReadValue(m_node, name, nullptr, buffer, &type)))
        return false;
    bytes.assign(buffer.Data(), buffer.Data() + buffer.Size());
    return true;
}

void KelNodePtr::SetAttribute(const wchar_t* name, std::uint16_t type, const void* value, std::size_t size) const
{
    CheckPointer(m_node);
    CheckHResult(KelnSetAttribute(m_node, name, type, size ? value : nullptr, static_cast<std::uint32_t>(size)));
}

void KelNodePtr::SetString(const wchar_t* name, std::wstring_view text) const
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    bytes.append(BytesPerUnit, '\0');
    SetAttribute(name, KelnText, bytes.data(), bytes.size());
}

void KelNodePtr::SetInt32(const wchar_t* name, std::int32_t value) const
{
    SetAttribute(name, KelnInt32, &value, sizeof(value));
}

void KelNodePtr::SetInt64(const wchar_t* name, std::int64_t value) const
{
    SetAttribute(name, KelnInt64, &value, sizeof(value));
}

void KelNodePtr::SetBool(const wchar_t* name, bool value) const
{
    const std::uint8_t stored = value ? 1 : 0;
    SetAttribute(name, KelnBool, &stored, sizeof(stored));
}

void KelNodePtr::SetBinary(const wchar_t* name, const std::vector<std::uint8_t>& bytes) const
{
    SetRaw(name, KelnBinary, bytes);
}

void KelNodePtr::SetRaw(const wchar_t* name, std::uint16_t type, const std::vector<std::uint8_t>& bytes) const
{
    SetAttribute(name, type, bytes.data(), bytes.size());
}

void KelNodePtr::SetStringList(const wchar_t* name, const std::vector<std::wstring>& texts) const
{
    std::string bytes;
    for (const std::wstring& text : texts) {
        Text::AppendUtf16Le(text, bytes);
        bytes.append(BytesPerUnit, '\0');
    }
    SetAttribute(name, KelnTextList, bytes.data(), bytes.size());
}

void KelNodePtr::SetEmpty(const wchar_t* name) const
{
    SetAttribute(name, KelnEmpty, nullptr, 0);
}
