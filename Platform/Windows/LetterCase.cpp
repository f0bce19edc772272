#include "Platform/LetterCase.h"

#include "Platform/Windows/LastError.h"

std::wstring ToLowerCase(std::wstring text)
{
    const auto size = static_cast<int>(text.size());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text.data(), size, text.data(), size);
    return text;
}
