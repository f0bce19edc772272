#include "Host/ReportingDatabase/LowerCase.h"

#include "Platform/Text.h"

#include <algorithm>
#include <locale>
#include <stdexcept>

namespace Host
{

namespace
{

std::locale LettersLocale()
{
    try {
        return std::locale("C.UTF-8");
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

bool IsAscii(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

char ToLowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::string ToLower(std::string text)
{
    if (std::all_of(text.begin(), text.end(), IsAscii)) {
        std::transform(text.begin(), text.end(), text.begin(), ToLowerAscii);
        return text;
    }
    static const std::locale locale = LettersLocale();
    std::wstring wide = Text::FromUtf8(text);
    std::use_facet<std::ctype<wchar_t>>(locale).tolower(wide.data(), wide.data() + wide.size());
    return Text::ToUtf8(wide);
}

} // namespace Host
