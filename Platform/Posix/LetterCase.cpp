#include "Platform/LetterCase.h"

#include <algorithm>
#include <locale>
#include <stdexcept>

std::wstring ToLowerCase(std::wstring text)
{
    const auto isAscii = [](wchar_t c) { return c < 0x80; };
    if (std::all_of(text.begin(), text.end(), isAscii)) {
        for (wchar_t& c : text)
            c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
        return text;
    }
    static const std::locale letters = [] {
        try {
            return std::locale("C.UTF-8");
        } catch (const std::runtime_error&) {
            return std::locale::classic();
        }
    }();
    const auto& cases = std::use_facet<std::ctype<wchar_t>>(letters);
    for (wchar_t& c : text) {
        const wchar_t lower = cases.tolower(c);
        c = cases.toupper(lower) == c ? lower : c;
    }
    return text;
}
