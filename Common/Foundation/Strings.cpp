#include "Common/Foundation/Strings.h"

#include <cwchar>

namespace Strings
{

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

std::wstring GuidText(const GUID& guid)
{
    wchar_t buffer[40];
    std::swprintf(buffer, std::size(buffer), L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return buffer;
}

} // namespace Strings
