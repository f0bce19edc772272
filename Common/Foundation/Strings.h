// Small operations on wide text.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Strings
{

inline constexpr std::wstring_view WhiteSpace = L" \t\r\n\v\f";

inline std::wstring_view TrimRight(std::wstring_view text, std::wstring_view characters = WhiteSpace)
{
    return text.substr(0, text.find_last_not_of(characters) + 1);
}

inline std::wstring_view Trim(std::wstring_view text, std::wstring_view characters)
{
    text = TrimRight(text, characters);
    return text.substr(std::min(text.find_first_not_of(characters), text.size()));
}

// The letters of all scripts, in every language alike (Platform/LetterCase.h).
std::wstring ToLower(std::wstring_view text);
bool EqualNoCase(std::wstring_view a, std::wstring_view b);

// The parts of `text` between any of `separators`, without the empty ones.
std::vector<std::wstring> Split(std::wstring_view text, std::wstring_view separators);

// Appends a decimal number, with `fill` in front of it where it is narrower than `width`.
void AppendNumber(std::wstring& text, std::uint64_t number, std::size_t width = 1, wchar_t fill = L'0');

// "0x%08X" and, for addresses, 16 upper-case digits after "0x", on both platforms.
std::wstring Hex(std::uint32_t value);
std::wstring Hex(const void* address);

} // namespace Strings
