#include "Host/ReportingDatabase/LowerCase.h"

#include "Platform/LetterCase.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

namespace
{

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
    return Text::ToUtf8(ToLowerCase(Text::FromUtf8(text)));
}

} // namespace Host
