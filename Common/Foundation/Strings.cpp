#include "Common/Foundation/Strings.h"

#include "Platform/LetterCase.h"

#include <cwchar>

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
