#include "Host/Nodwell/Value.h"

#include "Platform/LetterCase.h"
#include "Platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <utility>

namespace
{

constexpr HRESULT WrongType = HResultFromWin32(ERROR_INVALID_DATATYPE);
constexpr HRESULT OutOfRange = HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW);

// The bytes of a number or a boolean; 0 for the other types.
std::size_t NumberSize(uint16_t type)
{
    return type == KelnInt64 ? 8 : type == KelnInt32 || type == KelnUInt32 ? 4 : type == KelnBool ? 1 : 0;
}

bool IsNumber(uint16_t type)
{
    return NumberSize(type) != 0;
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
    default:
        return IsNumber(type) ? bytes.size() == NumberSize(type) : type == KelnBinary;
    }
}

std::int64_t NumberOf(const Value& value)
{
    const std::string_view bytes = value.bytes;
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
    const std::string_view bytes = value.bytes;
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
    return {type, std::move(bytes)};
}

std::wstring HexDigits(std::string_view bytes)
{
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const char c : bytes)
        text.append({digits[(c >> 4) & 0xF], digits[c & 0xF]});
    return text;
}

HRESULT ParseBoolean(const std::wstring& text, std::int64_t& number)
{
    const std::wstring lower = ToLowerCase(text);
    number = lower == L"true" || lower == L"1";
    return number != 0 || lower == L"false" || lower == L"0" ? S_OK : E_INVALIDARG;
}

HRESULT ParseInteger(const std::wstring& text, std::int64_t& number)
{
    const bool isHexadecimal = text.find_first_of(L"xX") != text.npos;
    wchar_t* end = nullptr;
    errno = 0;
    number = std::wcstoll(text.c_str(), &end, isHexadecimal ? 16 : 10);
    if (text.empty() || std::iswspace(static_cast<std::wint_t>(text.front())) || end != text.c_str() + text.size())
        return E_INVALIDARG;
    return errno == ERANGE ? OutOfRange : S_OK;
}

HRESULT StoreNumber(std::int64_t number, Value& result)
{
    if (result.type == KelnBool)
        number = number != 0;
    if ((result.type == KelnInt32 && !std::in_range<std::int32_t>(number)) ||
        (result.type == KelnUInt32 && !std::in_range<std::uint32_t>(number)))
        return OutOfRange;
    result.bytes.assign(reinterpret_cast<const char*>(&number), NumberSize(result.type)); // little-endian
    return S_OK;
}

HRESULT ConvertToNumber(const Value& value, Value& result)
{
    std::int64_t number = 0;
    HRESULT parsed = S_OK;
    if (IsNumber(value.type))
        number = NumberOf(value);
    else
        parsed = result.type == KelnBool ? ParseBoolean(TextOf(value), number) : ParseInteger(TextOf(value), number);
    return FAILED(parsed) ? parsed : StoreNumber(number, result);
}

// `result` has the type that is wanted.
HRESULT ConvertTo(const Value& value, Value& result)
{
    const bool isText = IsText(value.type);
    if (value.type == result.type ||
        (value.type == KelnTextList && result.type == KelnText && ZeroUnits(value.bytes) == 1))
        result.bytes = value.bytes;
    else if (IsText(result.type) && (isText || IsNumber(value.type) || value.type == KelnEmpty))
        result = MakeText(result.type, value.type == KelnEmpty ? std::wstring() : DisplayText(value));
    else if (result.type == KelnTextList && isText)
        result.bytes = MakeText(KelnText, TextOf(value)).bytes;
    else if (IsNumber(result.type) && (isText || IsNumber(value.type)))
        return ConvertToNumber(value, result);
    else if (value.type != KelnEmpty || (result.type != KelnTextList && result.type != KelnBinary))
        return WrongType;
    return S_OK;
}

// For a failure: the type, and the value where it is short.
std::wstring Describe(const Value& value)
{
    constexpr std::size_t longest = 64;
    std::wstring text = TypeName(value.type);
    if (IsText(value.type) || IsNumber(value.type))
        text += L" '" + DisplayText(value).substr(0, longest) + L"'";
    else if (value.type == KelnTextList)
        text += L" of " + std::to_wstring(ZeroUnits(value.bytes));
    return text;
}

} // namespace

Value MakeValue(uint16_t type, const void* data, uint32_t size, std::wstring_view attribute)
{
    const std::string_view bytes(static_cast<const char*>(data), data ? size : 0);
    if (bytes.size() != size || !IsWellFormed(type, bytes))
        Refuse(E_INVALIDARG, L"attribute '" + std::wstring(attribute) + L"' cannot be set to " + std::to_wstring(size) +
                                 L" bytes of type " + std::to_wstring(type) + L" (" + TypeName(type) + L")");
    if (type == KelnBool)
        return {type, std::string(1, bytes.front() != 0 ? 1 : 0)};
    return {type, std::string(bytes)};
}

Value Convert(const Value& value, uint16_t type, std::wstring_view attribute)
{
    Value result{type, {}};
    if (const HRESULT failure = ConvertTo(value, result); FAILED(failure))
        Refuse(failure, L"attribute '" + std::wstring(attribute) + L"' holds " + Describe(value) + L", expected " +
                            TypeName(type));
    return result;
}

const wchar_t* TypeName(uint16_t type)
{
    constexpr std::pair<uint16_t, const wchar_t*> names[] = {
        {KelnEmpty, L"empty"},  {KelnText8, L"utf8 text"}, {KelnText, L"text"},
        {KelnInt32, L"int32"},  {KelnUInt32, L"uint32"},   {KelnInt64, L"int64"},
        {KelnBool, L"boolean"}, {KelnBinary, L"binary"},   {KelnTextList, L"text list"},
    };
    const auto found =
        std::find_if(std::begin(names), std::end(names), [=](const auto& each) { return each.first == type; });
    return found == std::end(names) ? L"unknown type" : found->second;
}

std::vector<std::wstring> ListItems(const Value& list)
{
    const std::wstring all = Text::FromUtf16Le(list.bytes);
    std::vector<std::wstring> items;
    for (std::size_t begin = 0; begin < all.size(); begin += items.back().size() + 1)
        items.emplace_back(all, begin, all.find(L'\0', begin) - begin);
    return items;
}

std::wstring DisplayText(const Value& value)
{
    if (IsText(value.type))
        return TextOf(value);
    if (value.type == KelnBool)
        return NumberOf(value) != 0 ? L"true" : L"false";
    return IsNumber(value.type) ? std::to_wstring(NumberOf(value)) : HexDigits(value.bytes);
}
