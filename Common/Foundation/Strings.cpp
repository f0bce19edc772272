#include "Common/Foundation/Strings.h"

#include "Platform/LetterCase.h"

#include <cwchar>
#include <iterator>

namespace Strings
{

std::wstring ToLower(std::wstring_view text)
{
    return ToLowerCase(std::wstring(text));
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b)
{
    return a.size() == b.size() && ToLower(a) == ToLower(b);
}

std::vector<std::wstring> Split(std::wstring_view text, std::wstring_view separators)
{
    std::vector<std::wstring> parts;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of(separators);
        if (end != 0)
            parts.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + 1);
    }
    return parts;
}

// Not the C library's formatted output, nor std::to_wstring, which may use it: the log writes a dozen numbers a line.
void AppendNumber(std::wstring& text, std::uint64_t number, std::size_t width, wchar_t fill)
{
    wchar_t digits[20];
    wchar_t* const end = std::end(digits);
    wchar_t* begin = end;
    do
        *--begin = static_cast<wchar_t>(L'0' + number % 10);
    while ((number /= 10) != 0);
    const auto length = static_cast<std::size_t>(end - begin);
    if (length < width)
        text.append(width - length, fill);
    text.append(begin, length);
}

std::wstring Hex(std::uint32_t value)
{
    wchar_t buffer[16];
    std::swprintf(buffer, std::size(buffer), L"0x%08X", static_cast<unsigned>(value));
    return buffer;
}

std::wstring Hex(const void* address)
{
    wchar_t buffer[24];
    std::swprintf(buffer, std::size(buffer), L"0x%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(address)));
    return buffer;
}

} // namespace Strings
