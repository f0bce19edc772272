#include "Host/Nodwell/Value.h"

#include "Host/Nodwell/Failures.h"
#include "Platform/Text.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

namespace
{

constexpr HRESULT WrongType = HResultFromWin32(ERROR_INVALID_DATATYPE);
constexpr HRESULT OutOfRange = HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW);

bool IsNumber(uint16_t type)
{
    return type == KelnInt32 || type == KelnUInt32 || type == KelnInt64 || type == KelnBool;
}

bool IsText(uint16_t type)
{
    return type == KelnText8 || type == KelnText;
}

template <class Number>
Number Load(std::string_view bytes)
{
    Number number;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

template <class Number>
std::string_view BytesOf(const Number& number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

bool EndsWithZeroUnit(std::string_view bytes)
{
    return bytes.size() % 2 == 0 && bytes.size() >= 2 && Load<char16_t>(bytes.substr(bytes.size() - 2)) == 0;
}

std::size_t ZeroUnits(std::string_view bytes)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        count += Load<char16_t>(bytes.substr(i)) == 0;
    return count;
}

bool IsWellFormed(uint16_t type, std::string_view bytes)
{
    switch (type) {
    case KelnEmpty:
        return bytes.empty();
    case KelnText8:
        return !bytes.empty() && bytes.find('\0') == bytes.size() - 1;
    case KelnText:
        return EndsWithZeroUnit(bytes) && ZeroUnits(bytes) == 1;
    case KelnTextList:
        return bytes.empty() || EndsWithZeroUnit(bytes);
    case KelnInt32:
    case KelnUInt32:
        return bytes.size() == 4;
    case KelnInt64:
        return bytes.size() == 8;
    case KelnBool:
        return bytes.size() == 1;
    default:
        return type == KelnBinary;
    }
}

std::int64_t NumberOf(const Value& value)
{
    const std::string_view bytes = value.bytes.Bytes();
    switch (value.type) {
    case KelnInt32:
        return Load<std::int32_t>(bytes);
    case KelnUInt32:
        return Load<std::uint32_t>(bytes);
    case KelnInt64:
        return Load<std::int64_t>(bytes);
    default:
        return bytes.front();
    }
}

std::wstring TextOf(const Value& value)
{
    const std::string_view bytes = value.bytes.Bytes();
    return value.type == KelnText8 ? Text::FromUtf8(bytes.substr(0, bytes.size() - 1))
                                   : Text::FromUtf16Le(bytes.substr(0, bytes.size() - 2));
}

Value MakeText(uint16_t type, std::wstring_view text)
{
    std::string bytes;
    if (type == KelnText8)
        Text::AppendUtf8(text, bytes);
    else
        Text::AppendUtf16Le(text, bytes);
    bytes.append(type == KelnText8 ? 1 : 2, '\0');
    return {SharedBytes(bytes), type};
}

std::wstring HexDigits(std::string_view bytes)
{
    constexpr std::wstring_view digits = L"0123456789ABCDEF";
    std::wstring text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0xF]);
    }
    return text;
}

// One conversion of one attribute, for the sake of its failures: all of them say what is held and what was expected.
class Conversion
{
public:
    Conversion(const Value& value, uint16_t wanted, std::wstring_view attribute)
        : m_value(value), m_wanted(wanted), m_attribute(attribute)
    {}

    Value Run() const
    {
        if (m_value.type == m_wanted)
            return m_value;
        if (m_value.type == KelnEmpty)
            return FromEmpty();
        if (IsNumber(m_value.type))
            return FromNumber();
        if (IsText(m_value.type))
            return FromText();
        if (m_value.type == KelnTextList && m_wanted == KelnText && ZeroUnits(m_value.bytes.Bytes()) == 1)
            return {m_value.bytes, KelnText};
        Fail(WrongType);
    }

private:
    Value FromEmpty() const
    {
        if (IsText(m_wanted))
            return MakeText(m_wanted, {});
        if (m_wanted == KelnTextList || m_wanted == KelnBinary)
            return {{}, m_wanted};
        Fail(WrongType);
    }

    Value FromNumber() const
    {
        if (IsNumber(m_wanted))
            return Number(NumberOf(m_value));
        if (IsText(m_wanted))
            return MakeText(m_wanted, DisplayText(m_value));
        Fail(WrongType);
    }

    Value FromText() const
    {
        const std::wstring text = TextOf(m_value);
        if (IsText(m_wanted))
            return MakeText(m_wanted, text);
        if (m_wanted == KelnTextList)
            return {MakeText(KelnText, text).bytes, KelnTextList};
        if (m_wanted == KelnBool)
            return Number(ParseBoolean(text));
        if (IsNumber(m_wanted))
            return Number(ParseInteger(text));
        Fail(WrongType);
    }

    Value Number(std::int64_t number) const
    {
        switch (m_wanted) {
        case KelnInt32:
            return Narrowed<std::int32_t>(number);
        case KelnUInt32:
            return Narrowed<std::uint32_t>(number);
        case KelnInt64:
            return Narrowed<std::int64_t>(number);
        default:
            return {SharedBytes(BytesOf(static_cast<char>(number != 0))), KelnBool};
        }
    }

    template <class Integer>
    Value Narrowed(std::int64_t number) const
    {
        if (!std::in_range<Integer>(number))
            Fail(OutOfRange);
        return {SharedBytes(BytesOf(static_cast<Integer>(number))), m_wanted};
    }

    bool ParseBoolean(std::wstring text) const
    {
        for (wchar_t& c : text)
            c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
        if (text != L"true" && text != L"1" && text != L"false" && text != L"0")
            Fail(E_INVALIDARG);
        return text == L"true" || text == L"1";
    }

    std::int64_t ParseInteger(std::wstring_view text) const
    {
        const bool negative = text.starts_with(L'-');
        if (negative || text.starts_with(L'+'))
            text.remove_prefix(1);
        const bool hexadecimal = text.starts_with(L"0x") || text.starts_with(L"0X");
        const std::string digits = Text::ToUtf8(text.substr(hexadecimal ? 2 : 0));
        std::uint64_t magnitude = 0;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, magnitude, hexadecimal ? 16 : 10);
        if (stop != end || error == std::errc::invalid_argument)
            Fail(E_INVALIDARG);
        constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (error != std::errc() || magnitude > largest + negative)
            Fail(OutOfRange);
        return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    }

    [[noreturn]] void Fail(HRESULT result) const
    {
        constexpr std::size_t longest = 64;
        std::wstring held = TypeName(m_value.type);
        if (IsText(m_value.type) || IsNumber(m_value.type))
            held += L" '" + DisplayText(m_value).substr(0, longest) + L"'";
        else if (m_value.type == KelnTextList)
            held += L" of " + std::to_wstring(ZeroUnits(m_value.bytes.Bytes()));
        Refuse(result,
               L"attribute '" + std::wstring(m_attribute) + L"' holds " + held + L", expected " + TypeName(m_wanted));
    }

    const Value& m_value;
    const uint16_t m_wanted;
    const std::wstring_view m_attribute;
};

} // namespace

Value MakeValue(uint16_t type, const void* data, uint32_t size, std::wstring_view attribute)
{
    const std::string_view bytes(static_cast<const char*>(data), data ? size : 0);
    if (bytes.size() != size || !IsWellFormed(type, bytes))
        Refuse(E_INVALIDARG, L"attribute '" + std::wstring(attribute) + L"' cannot be set to " + std::to_wstring(size) +
                                 L" bytes of type " + std::to_wstring(type) + L" (" + TypeName(type) + L")");
    if (type == KelnBool)
        return {SharedBytes(BytesOf(static_cast<char>(bytes.front() != 0))), type};
    return {SharedBytes(bytes), type};
}

Value Convert(const Value& value, uint16_t type, std::wstring_view attribute)
{
    return Conversion(value, type, attribute).Run();
}

const wchar_t* TypeName(uint16_t type)
{
    switch (type) {
    case KelnEmpty:
        return L"empty";
    case KelnText8:
        return L"utf8 text";
    case KelnText:
        return L"text";
    case KelnInt32:
        return L"int32";
    case KelnUInt32:
        return L"uint32";
    case KelnInt64:
        return L"int64";
    case KelnBool:
        return L"boolean";
    case KelnBinary:
        return L"binary";
    case KelnTextList:
        return L"text list";
    default:
        return L"unknown type";
    }
}

std::vector<std::wstring> ListItems(const Value& list)
{
    std::vector<std::wstring> items;
    const std::string_view bytes = list.bytes.Bytes();
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (Load<char16_t>(bytes.substr(i)) == 0) {
            items.push_back(Text::FromUtf16Le(bytes.substr(start, i - start)));
            start = i + 2;
        }
    }
    return items;
}

std::wstring DisplayText(const Value& value)
{
    if (IsText(value.type))
        return TextOf(value);
    if (value.type == KelnBool)
        return NumberOf(value) != 0 ? L"true" : L"false";
    return IsNumber(value.type) ? std::to_wstring(NumberOf(value)) : HexDigits(value.bytes.Bytes());
}
