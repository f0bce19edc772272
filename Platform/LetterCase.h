// Lower case of all letters, independent of the user's language and of the process's locale.
#pragma once

#include "Platform/Win32.h"

#include <string>
#ifndef _WIN32
#include <locale>
#include <stdexcept>
#endif

// One character becomes one character; what has no lower case stays. Any thread.
inline std::wstring ToLowerCase(std::wstring text)
{
#ifdef _WIN32
    const auto size = static_cast<int>(text.size());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text.data(), size, text.data(), size);
#else
    static const std::locale letters = [] {
        try {
            return std::locale("C.UTF-8");
        } catch (const std::runtime_error&) {
            return std::locale::classic();
        }
    }();
    std::use_facet<std::ctype<wchar_t>>(letters).tolower(text.data(), text.data() + text.size());
#endif
    return text;
}
